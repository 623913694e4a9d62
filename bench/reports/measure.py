#!/usr/bin/env python3
"""A year's report by `tolvik report` and by `timew summary` on the same 100,000 intervals of ten years, and exports.

  bench/reports/measure.py BIN [RUNS]

BIN is the folder of a build's programs. `timew` is looked for on the path (Debian: timewarrior). Prints medians of whole
processes.
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from datetime import date, timedelta

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "cli"))
import importlib.util  # noqa: E402

spec = importlib.util.spec_from_file_location("peers", os.path.join(HERE, "..", "peers", "measure.py"))
peers = importlib.util.module_from_spec(spec)
spec.loader.exec_module(peers)


def median(command, runs, environment):
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, check=True)
        times.append((time.perf_counter() - start) * 1000)
    return statistics.median(times)


def main():
    tolvik = os.path.join(os.path.abspath(sys.argv[1]), "tolvik")
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 9
    home = tempfile.mkdtemp(prefix="tolvik-reports-")
    environment = {"HOME": home, "PATH": os.environ["PATH"], "XDG_DATA_HOME": os.path.join(home, "data"),
                   "XDG_RUNTIME_DIR": home, "LC_ALL": "C.UTF-8", "TZ": "UTC",
                   "TIMEWARRIORDB": os.path.join(home, ".timewarrior")}
    try:
        file = os.path.join(home, "log.json")
        peers.make_export(file)
        with open(file, encoding="utf-8") as stream:
            log = json.load(stream)
        subprocess.run([tolvik, "data", "import", file], env=environment, check=True, stdout=subprocess.DEVNULL)
        last = date.today()
        first = last.replace(year=last.year - 1) + timedelta(days=1)
        mine = median([tolvik, "report", "--from", str(first), "--to", str(last)], runs, environment)
        print(f"tolvik report, a year of ten     {mine:9.1f} ms")
        if shutil.which("timew"):
            titles = {task["id"]: task["title"] for task in log["tolvik:tasks"]}
            peers.write_timew(home, log["tolvik:timeEntries"], titles)
            end = last + timedelta(days=1)
            theirs = median(["timew", "summary", str(first), "-", str(end)], min(runs, 5), environment)
            print(f"timew summary, the same          {theirs:9.1f} ms   {theirs / mine:.1f} times tolvik's")
        else:
            print("timew is not installed; Debian's package is timewarrior")
        for kind in ("csv", "json", "pdf"):
            out = os.path.join(home, "out." + kind)
            took = median([tolvik, "export", "--" + kind, out, "--range", "year"], 3, environment)
            print(f"tolvik export --{kind:<4} of a year    {took:9.1f} ms   {os.path.getsize(out) / 1e6:.1f} MB")
    finally:
        shutil.rmtree(home)


if __name__ == "__main__":
    main()
