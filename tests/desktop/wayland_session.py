#!/usr/bin/python3
"""A session without an X server: the application starts, says that held keys cannot be seen there, and is spoken to by
its microphone button. The compositor is a real one, drawing into the virtual display.

    tests/desktop/with-desktop.sh --no-wm -- tests/desktop/wayland_session.py BINARIES

Exit code 77 when a program for it is not installed.
"""

import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

from window_on_the_bus import BINARIES, PATIENCE, press, run, shows, start, wait_for

for needed in ("weston", "flite", "sox", "paplay"):
    if not shutil.which(needed):
        print(needed, "is not installed", file=sys.stderr)
        sys.exit(77)

SOCKET = "wayland-tolvik"


def sentence(folder):
    raw, clip = Path(folder, "raw.wav"), Path(folder, "say.wav")
    run("flite", "-voice", "awb", "-t", "start the quarterly report", "-o", raw)
    run("sox", raw, "-r", "48000", "-c", "1", "-b", "16", clip, "norm", "-6", "pad", "0", "0.3")
    return clip


def running():
    answer = run(BINARIES / "tolvik", "status", "--json")
    return (json.loads(answer.stdout or "{}").get("running") or {}).get("taskTitle", "")


def main():
    socket = Path(os.environ["XDG_RUNTIME_DIR"], SOCKET)
    compositor = subprocess.Popen(["weston", "--backend=x11-backend.so", "--width=1200", "--height=760",
                                   f"--socket={SOCKET}", "--idle-time=0"], stdin=subprocess.DEVNULL,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    desktop = None
    try:
        wait_for(socket.exists, "the compositor")
        desktop = start(WAYLAND_DISPLAY=SOCKET, DISPLAY=None, QT_QPA_PLATFORM="wayland")
        shows("Click the microphone")
        press("Settings")
        shows("This is a Wayland session")
        press("Home")
        with tempfile.TemporaryDirectory() as folder:
            clip = sentence(folder)
            press("Speak")
            shows("Stop listening")
            run("paplay", "--latency-msec=250", "--device=" + os.environ["TOLVIK_VIRTUAL_MIC_SINK"], clip)
            press("Stop listening")
        print("runs:", wait_for(running, "a task that runs"))
        good = "quarterly report" in running()
        if "--picture" in sys.argv:
            run("import", "-window", "root", sys.argv[sys.argv.index("--picture") + 1])
    finally:
        if desktop:
            desktop.send_signal(signal.SIGTERM)
            desktop.wait(PATIENCE)
        compositor.terminate()
        compositor.wait(PATIENCE)
    return 0 if good and desktop.returncode == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
