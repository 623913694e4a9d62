#!/usr/bin/env python3
"""Drives the real desktop application on a real display as a person and the command line do.

    tests/desktop/with-desktop.sh --tray -- tests/app/desktop_end_to_end.py BINARIES
"""

import json
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

BINARIES = Path(sys.argv.pop(1) if len(sys.argv) > 1 else "build/release/bin").resolve()


def wait_for(condition, seconds=10.0):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.05)
    return condition()


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=20, check=False)


def tolvik(*arguments):
    return run(BINARIES / "tolvik", *arguments)


def windows(title):
    return run("xdotool", "search", "--onlyvisible", "--name", title).stdout.split()


def focused():
    return run("xdotool", "getwindowfocus").stdout.strip()


class Desktop:
    def __init__(self, *arguments):
        self.process = subprocess.Popen([BINARIES / "tolvik-desktop", "--skip-welcome", "--time-start", *arguments],
                                        stderr=subprocess.PIPE, text=True)
        self.log = []
        for line in self.process.stderr:
            self.log.append(line)
            if line.startswith("start:"):
                break

    def ended(self):
        return self.process.poll() is not None

    def end(self):
        if not self.ended():
            self.process.send_signal(signal.SIGTERM)
        code = self.process.wait(10)
        self.process.stderr.close()
        return code


class DesktopTest(unittest.TestCase):
    def setUp(self):
        self.desktop = Desktop()
        self.assertFalse(self.desktop.ended(), "".join(self.desktop.log))

    def tearDown(self):
        self.desktop.end()

    def main_window(self):
        return wait_for(lambda: windows("Tolvik$"))

    def close_window(self):
        window = self.main_window()[0]
        run("xdotool", "windowactivate", "--sync", window, "key", "--clearmodifiers", "alt+F4")
        self.assertTrue(wait_for(lambda: not windows("Tolvik$")))

    def test_serves_the_command_line_and_shows_what_it_did(self):
        self.assertEqual(tolvik("start", "Tide tables").returncode, 0)
        self.assertTrue(wait_for(lambda: windows("Tide tables")), "the title bar does not name the running task")
        status = json.loads(tolvik("status", "--json").stdout)
        self.assertIn("Tide tables", json.dumps(status))
        self.assertEqual(tolvik("stop").returncode, 0)
        self.assertTrue(wait_for(lambda: not windows("Tide tables")))

    def test_a_second_start_raises_the_window_and_ends(self):
        self.close_window()
        self.assertFalse(self.desktop.ended(), "closing ended the program although the chord can be heard")
        began = time.monotonic()
        second = run(BINARIES / "tolvik-desktop")
        self.assertEqual(second.returncode, 0, second.stderr)
        self.assertLess(time.monotonic() - began, 5)
        self.assertTrue(wait_for(lambda: focused() in windows("Tolvik$")), "the window did not come to the front")
        # A start at login leaves the window where it is.
        self.close_window()
        self.assertEqual(run(BINARIES / "tolvik-desktop", "--hidden").returncode, 0)
        time.sleep(0.5)
        self.assertFalse(windows("Tolvik$"))

    def test_the_pill_comes_with_the_chord_and_leaves_the_focus(self):
        editor = subprocess.Popen(["xterm", "-T", "some editor", "-e", "cat"])
        try:
            window = wait_for(lambda: windows("some editor"))[0]
            run("xdotool", "windowactivate", "--sync", window)
            before = focused()
            self.assertFalse(windows("Tolvik voice"))
            run("xdotool", "keydown", "Control_L", "keydown", "Alt_L", "keydown", "Shift_L")
            self.assertTrue(wait_for(lambda: windows("Tolvik voice"), 3), "no pill")
            self.assertEqual(focused(), before)
            # Another key makes it a shortcut of the editor's: the session goes without a trace.
            run("xdotool", "key", "--delay", "0", "F12")
            self.assertTrue(wait_for(lambda: not windows("Tolvik voice"), 3), "the pill stayed")
            run("xdotool", "keyup", "Shift_L", "keyup", "Alt_L", "keyup", "Control_L")
            self.assertEqual(focused(), before)
        finally:
            editor.kill()
            editor.wait()

    def test_ends_cleanly_and_starts_again_after_being_killed(self):
        self.assertEqual(tolvik("start", "Kept through everything").returncode, 0)
        self.assertEqual(self.desktop.end(), 0)
        # Nobody serves now; the command line opens the log itself.
        self.assertIn("Kept through everything", tolvik("status").stdout)
        self.desktop = Desktop("--hidden")
        self.assertFalse(windows("Tolvik$"))
        self.desktop.process.kill()
        self.assertEqual(self.desktop.end(), -signal.SIGKILL)
        self.desktop = Desktop()
        self.assertFalse(self.desktop.ended())
        self.assertTrue(wait_for(lambda: windows("Kept through everything")))


if __name__ == "__main__":
    unittest.main(verbosity=2)
