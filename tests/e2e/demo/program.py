"""The real programs under test: the desktop application and the command line beside it."""

import json
import os
import signal
import subprocess
import threading
import time
from datetime import datetime

from story import Log


def instant(text):
    """Seconds since 1970 of a stored instant; 0 when there is none."""
    return datetime.fromisoformat(text.replace("Z", "+00:00")).timestamp() if text else 0.0


class Program:
    """The desktop application with its folders, started at once and ended by `stop`."""

    def __init__(self, binaries, out):
        self.tolvik = os.path.join(binaries, "tolvik")
        self.trace_path = os.path.join(out, "voice.jsonl")
        self.data = os.path.join(os.environ["XDG_DATA_HOME"], "Tolvik")
        if os.path.exists(self.trace_path):
            os.remove(self.trace_path)
        self.output = open(os.path.join(out, "desktop.log"), "w", encoding="utf-8")
        self.process = subprocess.Popen(
            [os.path.join(binaries, "tolvik-desktop"), "--skip-welcome"], stdin=subprocess.DEVNULL, stdout=self.output,
            stderr=subprocess.STDOUT, env={**os.environ, "TOLVIK_TRACE_VOICE": self.trace_path})

    def alive(self):
        return self.process.poll() is None

    def stop(self):
        """Asks the application to quit; whether it did within five seconds and without complaint."""
        if self.alive():
            self.process.send_signal(signal.SIGTERM)
        try:
            code = self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            code = None
        self.output.close()
        return code == 0

    def words(self, *arguments):
        """What the command line prints for a person; raises when it fails."""
        done = subprocess.run([self.tolvik, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=15, check=False)
        if done.returncode not in (0, 1):
            raise RuntimeError(f"tolvik {' '.join(arguments)}: {done.returncode} {done.stderr.decode().strip()}")
        return done.stdout.decode()

    def collection(self, key):
        done = subprocess.run([self.tolvik, "data", "get", key], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=15, check=False)
        if done.returncode == 1 and not done.stdout.strip():
            return []
        if done.returncode != 0:
            raise RuntimeError(f"tolvik data get {key}: {done.returncode} {done.stderr.decode().strip()}")
        return json.loads(done.stdout)

    def log(self):
        """The log as the command line tells it."""
        tasks = self.collection("tolvik:tasks")
        entries = self.collection("tolvik:timeEntries")
        switches = self.collection("tolvik:switchLogs")
        titles = {task["id"]: task["title"] for task in tasks}
        running = [task["title"] for task in tasks if task["isActive"]]
        if len(titles) != len(set(titles.values())):
            raise RuntimeError(f"two tasks of one title: {sorted(titles.values())}")
        return Log(
            running=None if not running else running[0] if len(running) == 1 else running,
            tasks={task["title"]: task["status"] for task in tasks},
            switches=[(titles.get(one.get("fromTaskId")), titles.get(one["toTaskId"])) for one in switches],
            entries=[titles.get(one["taskId"]) for one in entries],
            open_entries=sum(not one.get("endedAt") for one in entries),
            sources={one["source"] for one in switches},
            changed=max((instant(one.get(key)) for one in entries for key in ("startedAt", "endedAt")), default=0.0),
        )


class Trace:
    """The session's states as the application writes them, one JSON object a line, read as they come."""

    def __init__(self, path):
        self.path = path
        self.file = None
        self.rest = ""
        self.seen = []

    def read(self):
        """New states since the last call."""
        if self.file is None:
            if not os.path.exists(self.path):
                return []
            self.file = open(self.path, encoding="utf-8")
        self.rest += self.file.read()
        lines = self.rest.split("\n")
        self.rest = lines.pop()
        fresh = [json.loads(line) for line in lines]
        self.seen += fresh
        return fresh


class DiskWatch(threading.Thread):
    """Notes when the log's files were seen to be written, looking every two milliseconds.

    The files' own times are no measure: they are as coarse as the kernel's tick, and may lie before the change.
    """

    def __init__(self, folder):
        super().__init__(daemon=True)
        self.folder = folder
        self.writes = []
        self.over = threading.Event()

    def run(self):
        last = None
        while not self.over.wait(0.002):
            try:
                now = os.stat(os.path.join(self.folder, "tolvik.sqlite-wal")).st_mtime_ns
            except OSError:
                continue
            if now != last:
                last = now
                self.writes.append(time.time())

    def written_after(self, instant_):
        """The first write seen after an instant that is known to a millisecond, None when there was none."""
        return next((write for write in self.writes if write >= instant_ - 0.001), None)


def wait_for(condition, seconds, what):
    """Polls until the condition gives something true and returns that."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    raise RuntimeError(f"waited {seconds} s in vain: {what}")
