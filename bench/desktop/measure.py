#!/usr/bin/env python3
"""Measures the desktop application: time to the first frame, resident memory and processor use while idle.

    bench/desktop/measure.py [--bin build/release/bin] [--entries 100000] [--starts 10] [--idle 60]

Runs itself on a desktop of its own (tests/desktop/with-desktop.sh) over a log that it makes up: `entries` time entries
over ten years, a twentieth as many tasks, one of them running. Prints each figure beside its target; exits 1 when one is
missed. Figures from a busy machine are worse than from an idle one; the load is printed with them.
"""

import argparse
import json
import os
import re
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import uuid
from datetime import datetime, timedelta, timezone
from pathlib import Path
from random import Random

HERE = Path(__file__).resolve().parent
REPOSITORY = HERE.parent.parent
FIRST_FRAME_MS, RESIDENT_MB, IDLE_PERCENT = 500, 160, 0.5


def made_up_log(entries):
    """The four collections: every task has its turns, the last one is still running."""
    chance = Random(7)
    name = lambda: str(uuid.UUID(int=chance.getrandbits(128), version=4)).upper()
    text = lambda t: t.strftime("%Y-%m-%dT%H:%M:%S.") + f"{t.microsecond // 1000:03d}Z"
    now = datetime.now(timezone.utc).replace(microsecond=0)
    step = timedelta(days=3650) / entries
    projects = [{"id": name(), "name": f"Project {i + 1}", "colorIndex": i, "createdAt": text(now), "updatedAt": text(now)}
                for i in range(8)]
    tasks = []
    for i in range(max(1, entries // 20)):
        created = text(now - timedelta(days=3650) + step * i * 20)
        tasks.append({"id": name(), "title": f"Task {i + 1} of the long log", "status": "open" if i % 10 == 0 else "done",
                      "isActive": False, "createdAt": created, "updatedAt": created, "sortOrder": i,
                      "colorIndex": i % 12, "tagId": projects[i % 8]["id"]})
    tasks[-1].update(status="open", isActive=True)
    log, switches, previous = [], [], None
    for i in range(entries):
        begin = now - step * (entries - i)
        end = begin + step * 0.9
        last = i == entries - 1
        task = tasks[-1] if last else tasks[min(len(tasks) - 1, i // 20)]
        entry = {"id": name(), "taskId": task["id"], "startedAt": text(begin if not last else now - timedelta(minutes=5)),
                 "createdAt": text(begin)}
        if not last:
            entry.update(endedAt=text(end), durationMs=int((end - begin).total_seconds() * 1000))
        log.append(entry)
        switch = {"id": name(), "toTaskId": task["id"], "switchedAt": entry["startedAt"], "source": "manual"}
        if previous:
            switch["fromTaskId"] = previous
        switches.append(switch)
        previous = task["id"]
    return {"tolvik:tasks": tasks, "tolvik:tags": projects, "tolvik:timeEntries": log, "tolvik:switchLogs": switches}


def processor_seconds(pid):
    """Of the process itself and of the children that it waited for."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def memory_mb(pid):
    status = Path(f"/proc/{pid}/status").read_text()
    kb = lambda key: int(re.search(rf"^{key}:\s+(\d+)", status, re.M).group(1))
    return kb("VmRSS") / 1024, kb("RssAnon") / 1024


class Desktop:
    def __init__(self, binaries, *arguments):
        self.process = subprocess.Popen([binaries / "tolvik-desktop", "--skip-welcome", "--time-start", *arguments],
                                        stderr=subprocess.PIPE, text=True)
        self.trace = ""
        for line in self.process.stderr:
            if line.startswith("start:"):
                self.trace = line.strip()
                break
        else:
            sys.exit("tolvik-desktop ended without a first frame")

    def first_frame(self):
        return int(re.search(r"first frame (\d+) ms", self.trace).group(1))

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        code = self.process.wait(10)
        if code != 0:
            sys.exit(f"tolvik-desktop ended with {code}")


def visible_windows():
    return subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "Tolvik$"], capture_output=True, text=True,
                          check=False).stdout.split()


def close_window():
    """As a person does: by the window manager's key, not by a signal. True when no window is left."""
    for window in visible_windows():
        subprocess.run(["xdotool", "windowactivate", "--sync", window, "key", "--clearmodifiers", "alt+F4"], check=False)
    time.sleep(1)
    return not visible_windows()


def measure(options):
    binaries = Path(options.bin).resolve()
    if options.entries:
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump(made_up_log(options.entries), file)
            file.flush()
            subprocess.run([binaries / "tolvik", "data", "import", file.name], check=True, stdout=subprocess.DEVNULL)
    frames = []
    for _ in range(options.starts):
        desktop = Desktop(binaries)
        frames.append(desktop.first_frame())
        print(f"  {desktop.trace}")
        desktop.end()

    desktop = Desktop(binaries)
    time.sleep(5)
    shown = memory_mb(desktop.process.pid)
    hidden = close_window()
    time.sleep(5)
    idle_memory = memory_mb(desktop.process.pid)
    before, began = processor_seconds(desktop.process.pid), time.monotonic()
    time.sleep(options.idle)
    percent = 100 * (processor_seconds(desktop.process.pid) - before) / (time.monotonic() - began)
    desktop.end()

    rows = [("first frame, median", statistics.median(frames), FIRST_FRAME_MS, "ms"),
            ("first frame, worst", max(frames), None, "ms"),
            ("resident, window shown", shown[0], RESIDENT_MB, "MB"),
            ("resident, window hidden", idle_memory[0], RESIDENT_MB, "MB"),
            ("  of it anonymous", idle_memory[1], None, "MB"),
            (f"processor, idle {options.idle} s, window {'hidden' if hidden else 'SHOWN'}", percent, IDLE_PERCENT, "%")]
    print(f"{options.entries} entries, {options.starts} starts, load {os.getloadavg()[0]:.1f} on {os.cpu_count()} cores")
    missed = not hidden
    for label, value, target, unit in rows:
        over = target is not None and value > target
        missed = missed or over
        limit = "" if target is None else f"target {target:g} {unit}{'  MISSED' if over else ''}"
        print(f"  {label:<38}{value:8.1f} {unit:<3} {limit}")
    return 1 if missed else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", default=str(REPOSITORY / "build/release/bin"))
    parser.add_argument("--entries", type=int, default=100_000)
    parser.add_argument("--starts", type=int, default=10)
    parser.add_argument("--idle", type=int, default=60)
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.inside:
        return measure(options)
    return subprocess.run([REPOSITORY / "tests/desktop/with-desktop.sh", "--", sys.executable, __file__, *sys.argv[1:],
                           "--inside"], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
