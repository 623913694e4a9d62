#!/usr/bin/env python3
"""The same intervals in `tolvik`, `timew` and `watson`, and how long each takes for the same things.

  bench/peers/measure.py BIN [RUNS]

BIN is the folder of a build's programs. `timew` is looked for on the path (Debian: timewarrior). `watson` is installed
by pip into an environment of its own in the user's cache, once. Prints medians and the ratios to `tolvik`.
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import venv
from datetime import datetime

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "cli"))
from measure import ENTRIES, make_export  # noqa: E402

WATSON = "td-watson==2.1.0"


def find_watson():
    folder = os.path.join(os.environ.get("XDG_CACHE_HOME", os.path.expanduser("~/.cache")), "tolvik-bench", "watson")
    program = os.path.join(folder, "bin", "watson")
    if not os.path.exists(program):
        print(f"installing {WATSON} …", flush=True)
        venv.create(folder, with_pip=True)
        subprocess.run([os.path.join(folder, "bin", "pip"), "install", "--quiet", WATSON, "setuptools<81"], check=True)
    return program


def instant(text):
    return datetime.fromisoformat(text.replace("Z", "+00:00"))


def write_timew(home, entries, titles):
    data = os.path.join(home, ".timewarrior", "data")
    os.makedirs(data)
    with open(os.path.join(home, ".timewarrior", "timewarrior.cfg"), "w", encoding="utf-8"):
        pass
    months = {}
    for entry in entries:
        start, end = instant(entry["startedAt"]), instant(entry["endedAt"])
        line = f'inc {start:%Y%m%dT%H%M%SZ} - {end:%Y%m%dT%H%M%SZ} # "{titles[entry["taskId"]]}"\n'
        months.setdefault(f"{start:%Y-%m}", []).append(line)
    for month, lines in months.items():
        with open(os.path.join(data, month + ".data"), "w", encoding="utf-8") as file:
            file.writelines(lines)
    with open(os.path.join(data, "tags.data"), "w", encoding="utf-8") as file:
        json.dump({title: {"count": 1} for title in set(titles.values())}, file)


def write_watson(folder, entries, titles):
    os.makedirs(folder)
    frames = []
    for entry in entries:
        start, end = (int(instant(entry[key]).timestamp()) for key in ("startedAt", "endedAt"))
        frames.append([start, end, titles[entry["taskId"]], entry["id"].replace("-", "").lower(), [], end])
    with open(os.path.join(folder, "frames"), "w", encoding="utf-8") as file:
        json.dump(frames, file)


def median_of(commands, runs, environment):
    """The median time of each command; the commands run in turns."""
    times = [[] for _ in commands]
    for i in range(runs):
        for slot, command in enumerate(commands):
            words = [word.replace("{}", str(i)) for word in command]
            start = time.perf_counter()
            done = subprocess.run(words, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                  stdin=subprocess.DEVNULL, check=False)
            times[slot].append((time.perf_counter() - start) * 1000)
            if done.returncode != 0:
                sys.exit(f"{words} ended with {done.returncode}: {done.stderr.decode()}")
            if slot == 0:
                # An interval shorter than a second is refused by one of the peers.
                time.sleep(1.1)
    return [statistics.median(each) for each in times]


def main():
    programs = os.path.abspath(sys.argv[1])
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    tolvik = os.path.join(programs, "tolvik")
    timew = shutil.which("timew")
    watson = find_watson()
    home = tempfile.mkdtemp(prefix="tolvik-peers-")
    environment = {"HOME": home, "PATH": os.environ["PATH"], "XDG_DATA_HOME": os.path.join(home, "data"),
                   "XDG_RUNTIME_DIR": home, "WATSON_DIR": os.path.join(home, "watson"), "LC_ALL": "C.UTF-8",
                   "TIMEWARRIORDB": os.path.join(home, ".timewarrior")}
    try:
        file = os.path.join(home, "log.json")
        make_export(file)
        with open(file, encoding="utf-8") as stream:
            log = json.load(stream)
        entries = log["tolvik:timeEntries"]
        titles = {task["id"]: task["title"] for task in log["tolvik:tasks"]}
        subprocess.run([tolvik, "data", "import", file], env=environment, check=True, stdout=subprocess.DEVNULL)
        write_watson(environment["WATSON_DIR"], entries, titles)
        day = instant(entries[-1]["startedAt"]).strftime("%Y-%m-%d")
        rows = {"tolvik": [[tolvik, "start", "task {}"], [tolvik, "stop"], [tolvik, "log", "--day", day],
                           [tolvik, "data", "export", os.path.join(home, "out")]],
                "watson": [[watson, "start", "task {}"], [watson, "stop"],
                           [watson, "report", "--from", day, "--to", day, "--no-pager"],
                           [watson, "log", "--all", "--json", "--no-pager"]]}
        if timew:
            write_timew(home, entries, titles)
            rows["timew"] = [[timew, "start", "task {}"], [timew, "stop"], [timew, "summary", day], [timew, "export"]]
        else:
            print("timew is not installed; Debian's package is timewarrior")
        medians = {name: median_of(commands, runs, environment) for name, commands in rows.items()}
    finally:
        shutil.rmtree(home)
    what = ["start", "stop", "one day", "export all"]
    print(f"{ENTRIES} intervals over ten years, medians of {runs} runs in ms (and how many times tolvik's)")
    print(f"{'':<12}" + "".join(f"{name:>20}" for name in medians))
    for slot, name in enumerate(what):
        cells = [f"{times[slot]:9.1f} ({times[slot] / medians['tolvik'][slot]:6.2f})" for times in medians.values()]
        print(f"{name:<12}" + "".join(f"{cell:>20}" for cell in cells))


if __name__ == "__main__":
    main()
