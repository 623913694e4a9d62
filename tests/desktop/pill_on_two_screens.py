#!/usr/bin/python3
"""Splits the virtual display into two monitors and holds the chord with the pointer on each: the pill of the real
application comes on the one with the pointer, in its middle.

    tests/desktop/with-desktop.sh --size 1600x700 -- tests/desktop/pill_on_two_screens.py BINARIES

Exit code 77 when a program for it is not installed.
"""

import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

for needed in ("xdotool", "xrandr"):
    if not shutil.which(needed):
        print(needed, "is not installed", file=sys.stderr)
        sys.exit(77)

BINARIES = Path(sys.argv[1] if len(sys.argv) > 1 else "build/release/bin").resolve()
PATIENCE = 30
CHORD = ("Control_L", "Alt_L", "Shift_L")
# Name, left edge, width.
MONITORS = (("left", 0, 1000), ("right", 1000, 600))
HEIGHT = 700


def wait_for(condition, what):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if found := condition():
            return found
        time.sleep(0.05)
    raise SystemExit(f"waited in vain: {what}")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False)


def pill():
    """Left edge and width of the pill's window; none while there is no pill."""
    found = run("xdotool", "search", "--onlyvisible", "--name", "Tolvik voice").stdout.split()
    if not found:
        return None
    geometry = run("xdotool", "getwindowgeometry", "--shell", found[-1]).stdout
    values = dict(re.findall(r"(\w+)=(-?\d+)", geometry))
    return (int(values["X"]), int(values["WIDTH"])) if "X" in values else None


def split_display():
    output = "screen"
    for name, left, width in MONITORS:
        done = run("xrandr", "--setmonitor", name, f"{width}/{width // 4}x{HEIGHT}/{HEIGHT // 4}+{left}+0", output)
        if done.returncode != 0:
            raise SystemExit(f"the display cannot be split: {done.stderr}")
        output = "none"


def main():
    split_display()
    desktop = subprocess.Popen([BINARIES / "tolvik-desktop", "--skip-welcome"], stdin=subprocess.DEVNULL)
    failed = False
    try:
        wait_for(lambda: run("xdotool", "search", "--onlyvisible", "--name", "Tolvik$").stdout.split(), "the window")
        for name, left, width in (*MONITORS, MONITORS[0]):
            run("xdotool", "mousemove", str(left + width // 3), str(HEIGHT // 2))
            for key in CHORD:
                run("xdotool", "keydown", key)
            x, wide = wait_for(pill, f"the pill on the {name} monitor")
            inside = left <= x and x + wide <= left + width
            centred = abs(x + wide / 2 - (left + width / 2)) <= 2
            print(f"pointer on {name} ({left} to {left + width}): pill from {x} to {x + wide}")
            failed = failed or not (inside and centred)
            # Another key makes it a shortcut: the session goes without a trace.
            run("xdotool", "key", "--delay", "0", "F12")
            for key in CHORD:
                run("xdotool", "keyup", key)
            wait_for(lambda: pill() is None, "the end of the pill")
    finally:
        desktop.send_signal(signal.SIGTERM)
        desktop.wait(PATIENCE)
    return 1 if failed or desktop.returncode != 0 else 0


if __name__ == "__main__":
    sys.exit(main())
