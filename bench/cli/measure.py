#!/usr/bin/env python3
"""How long `tolvik` takes, from the start of the process to its end, on a log of ten years.

  bench/cli/measure.py BIN [RUNS]

BIN is the folder of a build's programs; it holds `tolvik`, `log_holder`, and `make_log` of a build with benchmarks
(else the log is made by an import). Prints the median, the 95th percentile and the target of each command, alone and
with a process that serves the log as the desktop does.
"""

import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import uuid
from datetime import datetime, timedelta, timezone

ENTRIES = 100_000
TASKS = 5_000


def stamp(moment):
    return moment.strftime("%Y-%m-%dT%H:%M:%S.") + f"{moment.microsecond // 1000:03d}Z"


def make_export(path, entries=ENTRIES, tasks=TASKS):
    """A log of ten years that ends an hour ago, as `data import` takes it."""
    chance = random.Random(1)
    end = datetime.now(timezone.utc).replace(microsecond=0) - timedelta(hours=1)
    step = timedelta(days=3650) / entries
    ids = [str(uuid.UUID(int=chance.getrandbits(128), version=4)).upper() for _ in range(tasks)]
    words = "report review invoice garden plan draft release meeting budget slides audit letter".split()
    all_tasks, all_entries, logs = [], [], []
    for i, task in enumerate(ids):
        at = stamp(end - timedelta(days=3650) * (1 - i / tasks))
        record = {"id": task, "title": f"{chance.choice(words)} {chance.choice(words)} {i}",
                  "status": "open" if i >= tasks - 60 else "done", "isActive": False, "createdAt": at,
                  "updatedAt": at, "sortOrder": i, "colorIndex": i % 12}
        if record["status"] == "done":
            record["completedAt"] = at
        all_tasks.append(record)
    before = None
    for i in range(entries):
        start = end - step * (entries - i)
        stop = start + step * 0.3
        task = ids[min(tasks - 1, i * tasks // entries + chance.randrange(40))]
        all_entries.append({"id": str(uuid.UUID(int=chance.getrandbits(128), version=4)).upper(), "taskId": task,
                            "startedAt": stamp(start), "endedAt": stamp(stop),
                            "durationMs": round((stop - start).total_seconds() * 1000), "createdAt": stamp(start)})
        log = {"id": str(uuid.UUID(int=chance.getrandbits(128), version=4)).upper(), "toTaskId": task,
               "switchedAt": stamp(start), "source": "manual"}
        if before:
            log["fromTaskId"] = before
        before = task
        logs.append(log)
    for entry in all_entries:
        # The log keeps whole milliseconds; the texts above are cut to them.
        first, last = (datetime.fromisoformat(entry[k].replace("Z", "+00:00")) for k in ("startedAt", "endedAt"))
        entry["durationMs"] = (last - first) // timedelta(milliseconds=1)
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"tolvik:tasks": all_tasks, "tolvik:timeEntries": all_entries, "tolvik:switchLogs": logs,
                   "tolvik:tags": []}, file)
    return [task["title"] for task in all_tasks[-60:]]


def run(command, environment):
    start = time.perf_counter()
    process = subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
    took = (time.perf_counter() - start) * 1000
    if process.returncode != 0:
        sys.exit(f"{command} ended with {process.returncode}: {process.stderr.decode()}")
    return took


def report(name, times, target):
    times = sorted(times)
    median = statistics.median(times)
    p95 = times[min(len(times) - 1, int(len(times) * 0.95))]
    print(f"{name:<34} {median:7.1f} ms median {p95:7.1f} ms p95   target {target} ms  "
          f"{'kept' if median <= target else 'MISSED'}")


def measure(tolvik, titles, runs, environment, target, who):
    def times(make):
        return [run([tolvik, *make(i)], environment) for i in range(runs)]

    report(f"status, {who}", times(lambda i: ["status"]), target)
    report(f"switch by title, {who}", times(lambda i: ["switch", titles[i % 2]]), target)
    report(f"start, {who}", times(lambda i: ["start", f"new task {i}"]), target)
    report(f"log, {who}", times(lambda i: ["log"]), target)


def main():
    folder = os.path.abspath(sys.argv[1])
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 60
    tolvik = os.path.join(folder, "tolvik")
    home = tempfile.mkdtemp(prefix="tolvik-bench-")
    environment = {"HOME": home, "PATH": os.environ["PATH"], "XDG_DATA_HOME": os.path.join(home, "data"),
                   "XDG_CONFIG_HOME": os.path.join(home, "config"), "XDG_RUNTIME_DIR": home}
    try:
        file = os.path.join(home, "log.json")
        titles = make_export(file)
        print(f"{ENTRIES} entries, {TASKS} tasks; import {run([tolvik, 'data', 'import', file], environment):.0f} ms")
        run([tolvik, "switch", titles[0]], environment)
        nothing = statistics.median(run(["/bin/true"], environment) for _ in range(runs))
        print(f"starting a process that does nothing takes {nothing:.1f} ms of each")
        measure(tolvik, titles[1:], runs, environment, 40, "nobody serving")
        holder = subprocess.Popen([os.path.join(folder, "log_holder")], env=environment, stdout=subprocess.PIPE)
        holder.stdout.readline()
        try:
            measure(tolvik, titles[1:], runs, environment, 10, "served")
        finally:
            holder.terminate()
            holder.wait()
    finally:
        shutil.rmtree(home)


if __name__ == "__main__":
    main()
