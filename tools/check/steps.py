"""Runs named steps one after another, each with a log of its own, and adds up what passed and failed."""

import os
import shutil
import subprocess
import sys
import time
import traceback
import xml.etree.ElementTree as xml
from dataclasses import dataclass, field

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
LOGS = os.path.join(ROOT, "build", "check")


@dataclass
class Result:
    passed: int = 0
    failed: int = 0
    skipped: int = 0
    said: list = field(default_factory=list)

    @staticmethod
    def of(good, said=""):
        """One check that passed or failed."""
        return Result(passed=int(good), failed=int(not good), said=[said] if said else [])


class Step:
    """What a step's function gets: a log and ways to run programs into it."""

    def __init__(self, name):
        self.name = name
        self.path = os.path.join(LOGS, name + ".log")
        self.log = open(self.path, "w", encoding="utf-8", errors="replace")

    def run(self, command, timeout=1800, env=None):
        """Runs a program with its output in the log; the exit code, 124 after the time limit (seconds)."""
        print("$", " ".join(command), file=self.log, flush=True)
        with subprocess.Popen(
            command, cwd=ROOT, stdin=subprocess.DEVNULL, stdout=self.log, stderr=subprocess.STDOUT,
            env={**os.environ, **(env or {})}, start_new_session=True,
        ) as process:
            try:
                return process.wait(timeout)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, 15)
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    os.killpg(process.pid, 9)
                print(f"stopped after {timeout} s", file=self.log, flush=True)
                return 124

    def show(self, command, env=None):
        """Runs a program that shows its own progress on the terminal."""
        return subprocess.call(command, cwd=ROOT, stdin=subprocess.DEVNULL, env={**os.environ, **(env or {})})

    def ctest(self, build, *arguments, env=None, prefix=(), timeout=1500):
        """Runs the tests of a build folder, two at a time, and counts them."""
        report = os.path.join(LOGS, self.name + ".xml")
        if os.path.exists(report):
            os.remove(report)
        code = self.run(
            [*prefix, "ctest", "--test-dir", os.path.join("build", build), "--parallel", "2", "--output-on-failure",
             "--output-junit", report, *arguments], timeout, env)
        result = read_report(report)
        if code != 0 and result.failed == 0:
            result.failed = 1
            result.said.append(f"ctest ended with {code}")
        if result.passed == 0 and result.failed == 0:
            result.failed = 1
            result.said.append("no test ran")
        return result


def read_report(path):
    """What ctest's JUnit file counts; one failure when there is no file."""
    if not os.path.exists(path):
        return Result(failed=1, said=["ctest wrote no report"])
    result = Result()
    for case in xml.parse(path).getroot().iter("testcase"):
        status = case.get("status")
        if status == "run":
            result.passed += 1
        elif status in ("notrun", "disabled"):
            result.skipped += 1
            result.said.append("skipped: " + case.get("name"))
        else:
            result.failed += 1
            result.said.append("FAILED: " + case.get("name"))
            result.said += excerpt(case.findtext("system-out") or "")
    return result


def excerpt(output, lines=30):
    """Where a test program tells of a failure, so that whoever reads only the terminal knows what went wrong."""
    said = output.splitlines()
    first = next((at for at, line in enumerate(said) if "Failure" in line or "ERROR:" in line), len(said) - lines)
    first = max(first, 0)
    return ["  | " + line for line in said[first:first + lines]]


def tail(path, lines):
    with open(path, encoding="utf-8", errors="replace") as file:
        return "".join(file.readlines()[-lines:])


def run_all(steps, chosen):
    """Runs the chosen steps (all when empty); the number of failures. A step that others build on stops the run."""
    shutil.rmtree(LOGS, ignore_errors=True)
    os.makedirs(LOGS)
    began = time.monotonic()
    total = Result()
    rows = []
    for name, function, needed in steps:
        if chosen and name not in chosen:
            continue
        print(f"== {name}", flush=True)
        start = time.monotonic()
        step = Step(name)
        try:
            result = function(step)
        except Exception:  # a broken step is a failed one; the others still run
            traceback.print_exc(file=step.log)
            result = Result.of(False, traceback.format_exc(limit=1).strip().splitlines()[-1])
        step.log.close()
        seconds = time.monotonic() - start
        if result.failed:
            sys.stdout.write(tail(step.path, 60))
        for line in result.said:
            print("  " + line)
        counts = f"{result.passed} passed, {result.failed} failed"
        if result.skipped:
            counts += f", {result.skipped} skipped"
        print(f"  {counts}  ({seconds:.0f} s)", flush=True)
        rows.append((name, counts, seconds))
        total.passed += result.passed
        total.failed += result.failed
        total.skipped += result.skipped
        if result.failed and needed:
            print(f"The rest needs {name}; stopping.")
            break
    print("\nStep              seconds")
    for name, counts, seconds in rows:
        print(f"{name:<17} {seconds:7.0f}  {counts}")
    print(f"{'all':<17} {time.monotonic() - began:7.0f}  skipped {total.skipped}; logs in build/check\n")
    print(f"{total.passed} passed, {total.failed} failed", flush=True)
    return total.failed
