#!/usr/bin/python3
"""Walks the first-run steps of the real application as a person without a mouse does, and speaks the first command.

    tests/desktop/with-desktop.sh -- tests/app/onboarding_end_to_end.py BINARIES [PICTURES]

Keys are pressed by xdotool, a voice is played into the virtual microphone, and what stands on the screen is read
through the accessibility bus. On the way the application is crashed; the next start must say so and go on at the same
step. With PICTURES, a folder, every step is photographed. Exit code 77 when a program for it is not installed.
"""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import warnings
from pathlib import Path

try:
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi, GLib
except (ImportError, ValueError):
    print("python3-pyatspi is not installed", file=sys.stderr)
    sys.exit(77)
for needed in ("xdotool", "flite", "sox", "paplay"):
    if not shutil.which(needed):
        print(needed, "is not installed", file=sys.stderr)
        sys.exit(77)

BINARIES = Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/release/bin").resolve()
PICTURES = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None
CHORD = ("Control_L", "Alt_L", "Shift_L")
# The limit for anything to happen, generous for a busy machine.
PATIENCE = 30


def wait_for(condition, what, seconds=PATIENCE):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.05)
    raise AssertionError(f"waited in vain: {what}")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False)


def press(*keys):
    run("xdotool", "key", "--clearmodifiers", *keys)


def setting(key):
    """A stored value, as the command line tells it; empty when there is none."""
    return run(BINARIES / "tolvik", "data", "get", key).stdout.strip()


def elements(root=None, depth=0):
    """Everything that assistive technology sees of the application."""
    if root is None:
        desktop = Atspi.get_desktop(0)
        for i in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(i)
            if application and (application.get_name() or "").lower().startswith("tolvik"):
                yield from elements(application)
        return
    yield root
    if depth < 40:
        for i in range(root.get_child_count()):
            child = root.get_child_at_index(i)
            if child:
                yield from elements(child, depth + 1)


def named(words):
    try:
        for element in elements():
            if words in (element.get_name() or "") and element.get_state_set().contains(Atspi.StateType.SHOWING):
                return element
    except GLib.Error:
        pass  # it went away while it was looked at
    return None


def names():
    try:
        return [element.get_name() for element in elements() if element.get_name()]
    except GLib.Error:
        return []


class Desktop:
    def __init__(self, folder):
        self.trace = folder / "voice.jsonl"
        self.log = open(folder / "desktop.log", "a+", encoding="utf-8")
        self.process = subprocess.Popen(
            [BINARIES / "tolvik-desktop"], stdout=self.log, stderr=self.log, stdin=subprocess.DEVNULL,
            env={**os.environ, "TOLVIK_TRACE_VOICE": str(self.trace), "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})
        window = wait_for(lambda: run("xdotool", "search", "--onlyvisible", "--name", "Tolvik$").stdout.split(),
                          "the window")[-1]
        run("xdotool", "windowactivate", "--sync", window)
        # The trace begins when everything is up, the chord too.
        wait_for(lambda: self.trace.exists() and self.trace.stat().st_size > 0, "the application is up")

    def end(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        code = self.process.wait(PATIENCE)
        self.trace.unlink(missing_ok=True)
        self.log.close()
        return code

    def said(self):
        self.log.seek(0)
        return self.log.read()


class OnboardingTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp())
        self.clip = self.folder / "say.wav"
        raw = self.folder / "raw.wav"
        run("flite", "-voice", "awb", "-t", "start the quarterly report", "-o", raw)
        run("sox", raw, "-r", "48000", "-c", "1", "-b", "16", self.clip, "norm", "-6", "pad", "0", "0.08")
        self.desktop = Desktop(self.folder)

    def tearDown(self):
        if self.desktop.process.poll() is None:
            self.desktop.end()
        shutil.rmtree(self.folder)

    def sees(self, words):
        return wait_for(lambda: named(words), f"“{words}” on the screen, there is {names()}")

    def press_named(self, words):
        action = self.sees(words).get_action_iface()
        for i in range(action.get_n_actions()):
            if action.get_action_name(i).lower() in ("press", "toggle"):
                action.do_action(i)
                return
        self.fail(f"“{words}” cannot be pressed")

    def arrives(self, number, heading):
        self.sees(f"Step {number} of 7")
        self.sees(heading)
        if PICTURES:
            PICTURES.mkdir(parents=True, exist_ok=True)
            time.sleep(0.4)
            run("import", "-window", "root", PICTURES / f"step-{number}.png")

    def speak(self):
        run("xdotool", *[word for key in CHORD for word in ("keydown", key)])
        try:
            wait_for(lambda: '"phase":"listening"' in self.desktop.trace.read_text(), "listening")
            run("paplay", "--latency-msec=250", "--device=" + os.environ["TOLVIK_VIRTUAL_MIC_SINK"], str(self.clip))
        finally:
            run("xdotool", *[word for key in reversed(CHORD) for word in ("keyup", key)])

    def test_from_the_welcome_to_the_first_task_by_keys_and_voice(self):
        self.arrives(1, "Welcome to Tolvik")
        press("Return")
        self.arrives(2, "How it works")
        press("Return")
        self.arrives(3, "Three things to allow")
        for what in ("Microphone. Granted.", "Speech recognition. Granted.", "Accessibility. Granted."):
            self.sees(what)
        self.assertEqual(setting("tolvik.onboarding.step"), "2")

        # It crashes, and goes on where it was.
        self.assertEqual(self.desktop.end(signal.SIGSEGV), -signal.SIGSEGV)
        self.desktop = Desktop(self.folder)
        self.assertIn("ended because of an error in it (SIGSEGV). Nothing of the log was lost", self.desktop.said())
        self.arrives(3, "Three things to allow")

        # Nothing is recorded before the answer.
        self.speak()
        self.sees("It works. That was a command: ")
        self.assertEqual(setting("tolvik.onboarding.spoken"), "true")
        data = Path(os.environ["XDG_DATA_HOME"]) / "Tolvik"
        self.assertEqual(list(data.glob("*-analytics-buffer.json")), [])
        self.assertEqual(setting("tolvik.analytics.anonId"), "")
        self.press_named("Yes, send how it is used")
        wait_for(lambda: setting("tolvik.telemetry.consent") == "true", "the answer is kept")
        self.press_named("Continue")

        self.arrives(4, "What do you do?")
        press("Right", "space", "Return")
        self.arrives(5, "What brings you here?")
        self.assertEqual(setting("tolvik.profile.role"), '"designer"')
        press("Return")
        self.arrives(6, "How did you hear of Tolvik?")
        press("Return")
        self.arrives(7, "An account, if you like")
        self.sees("Secret service")
        self.press_named("Start tracking")

        # The window's pages, with the task that was spoken, and the notice of the crash.
        self.sees("Side bar")
        self.sees("Nothing of the log was lost")
        if PICTURES:
            time.sleep(0.5)
            run("import", "-window", "root", PICTURES / "home.png")
        self.assertEqual(setting("tolvik.onboarding.completed"), "true")
        status = run(BINARIES / "tolvik", "status").stdout
        self.assertIn("report", status.lower())
        shown = run(BINARIES / "tolvik", "telemetry", "show").stdout
        self.assertIn('"event":"onboarding_completed"', shown)
        self.assertNotIn('"event":"app_start"', shown)
        self.assertEqual(run(BINARIES / "tolvik", "telemetry", "off").returncode, 0)
        self.assertEqual(self.desktop.end(), 0)
        self.assertEqual(list(data.glob("*-analytics-buffer.json")), [])

        # It is finished for good.
        self.desktop = Desktop(self.folder)
        self.sees("Side bar")
        self.assertIsNone(named("Step 1 of 7"))


if __name__ == "__main__":
    # The interface has newer names for what Debian 12 has under the old ones alone.
    warnings.filterwarnings("ignore", category=DeprecationWarning)
    unittest.main(verbosity=2, warnings="ignore")
