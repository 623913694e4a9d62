"""What the command line's tests share: a home of their own, and ways to call the program."""

import json
import os
import shutil
import signal
import subprocess
import tempfile
import unittest

TOLVIK = os.environ["TOLVIK"]
HOLDER = os.environ["TOLVIK_HOLDER"]

DONE, NOTHING, USAGE, ENVIRONMENT = 0, 1, 2, 3


class Home(unittest.TestCase):
    """Each test has empty folders and no desktop."""

    def setUp(self):
        self.home = tempfile.mkdtemp(prefix="tolvik-cli-")
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.data = os.path.join(self.home, "data", "Tolvik")
        self.environment = {
            "HOME": self.home,
            "PATH": os.environ["PATH"],
            "XDG_DATA_HOME": os.path.join(self.home, "data"),
            "XDG_CONFIG_HOME": os.path.join(self.home, "config"),
            "XDG_RUNTIME_DIR": self.home,
            "TOLVIK_MODELS": os.path.join(self.home, "no-models"),
            "TZ": "Europe/Helsinki",
        }
        # Sanitizers are steered by their own variables.
        self.environment.update({k: v for k, v in os.environ.items() if k.endswith("SAN_OPTIONS")})

    def start(self, *arguments, stdin=subprocess.DEVNULL, environment=None):
        return subprocess.Popen([TOLVIK, *arguments], stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                text=True, env={**self.environment, **(environment or {})})

    def tolvik(self, *arguments, expect=DONE, text=None, environment=None):
        """Runs a command to its end, checks its exit code and gives (output, errors)."""
        process = self.start(*arguments, stdin=subprocess.PIPE, environment=environment)
        out, err = process.communicate(text or "", timeout=60)
        self.assertEqual(process.returncode, expect, f"tolvik {arguments}\n{out}\n{err}")
        return out, err

    def json(self, *arguments, expect=DONE, text=None):
        out, _ = self.tolvik(*arguments, "--json", expect=expect, text=text)
        return json.loads(out)

    def collection(self, name):
        out, _ = self.tolvik("data", "get", "tolvik:" + name)
        return json.loads(out)

    def running_title(self):
        running = self.json("status")["running"]
        return running and running["taskTitle"]

    def hold(self, *arguments):
        """Starts a process that holds the log, and waits until it does."""
        holder = subprocess.Popen([HOLDER, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                                  env=self.environment)
        self.addCleanup(self.end, holder)
        self.assertEqual(holder.stdout.readline(), "ready\n")
        return holder

    @staticmethod
    def end(holder, how=signal.SIGTERM):
        if holder.poll() is None:
            holder.send_signal(how)
            holder.wait(timeout=20)
        if not holder.stdout.closed:
            holder.stdout.close()
