#!/usr/bin/env python3
"""What a spoken command leaves behind: nothing before the consent, and after it one event at a real server.

    tests/desktop/with-desktop.sh -- tests/app/voice_analytics_end_to_end.py BINARIES

A voice is played into the virtual microphone of the real application, signed in to a real server. Exit code 77 when a
program or the speech models for it are not there.
"""

import json
import os
import pathlib
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "processes"))
from stage import Device, Server, end, wait_for

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
MODELS = pathlib.Path(os.environ.get("TOLVIK_REAL_MODELS", PROGRAMS.parent.parent / "models"))
CHORD = ("Control_L", "Alt_L", "Shift_L")
for needed in ("xdotool", "flite", "sox", "paplay", "gnome-keyring-daemon"):
    if not shutil.which(needed):
        print(needed, "is not installed", file=sys.stderr)
        sys.exit(77)
if not (MODELS / "speech/tokens.txt").exists():
    print("there are no speech models", file=sys.stderr)
    sys.exit(77)


class VoiceAnalytics(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tolvik-"))
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.server = Server(PROGRAMS, f"{self.folder}/server")
        self.addCleanup(self.server.close)
        self.device = Device(PROGRAMS, f"{self.folder}/ann", self.server.port, self.server.authority,
                             os.environ["DISPLAY"])
        self.addCleanup(self.device.close)
        self.trace = self.folder / "voice.jsonl"
        self.device.environment |= {"TOLVIK_MODELS": str(MODELS), "PULSE_SERVER": os.environ["PULSE_SERVER"],
                                    "XDG_SESSION_TYPE": "x11", "TOLVIK_TRACE_VOICE": str(self.trace)}
        self.data = pathlib.Path(self.device.environment["XDG_DATA_HOME"]) / "Tolvik"

    def start_desktop(self):
        self.trace.unlink(missing_ok=True)
        self.device.start_desktop()
        # The trace begins when everything is up, the chord too.
        wait_for(lambda: self.trace.exists() and self.trace.stat().st_size > 0, "the application is up")

    def speak(self, words):
        raw, clip = self.folder / "raw.wav", self.folder / "say.wav"
        subprocess.run(["flite", "-voice", "awb", "-t", words, "-o", raw], check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["sox", raw, "-r", "48000", "-c", "1", "-b", "16", clip, "norm", "-6", "pad", "0", "0.1"],
                       check=True)
        seen = self.trace.stat().st_size
        new = lambda: self.trace.read_text(encoding="utf-8")[seen:]
        subprocess.run(["xdotool", *[word for key in CHORD for word in ("keydown", key)]], check=True)
        try:
            wait_for(lambda: '"phase":"listening"' in new(), "listening")
            subprocess.run(["paplay", "--latency-msec=250", "--device=" + os.environ["TOLVIK_VIRTUAL_MIC_SINK"], clip],
                           check=True)
        finally:
            subprocess.run(["xdotool", *[word for key in reversed(CHORD) for word in ("keyup", key)]], check=True)
        wait_for(lambda: '"phase":"done"' in new(), f"“{words}” is carried out")

    def buffered(self):
        file = self.data / "voice-analytics-buffer.json"
        return json.loads(file.read_text(encoding="utf-8")) if file.exists() else []

    def received(self, kind):
        """What the server has of a kind; the server has ended."""
        database = next(pathlib.Path(f"{self.folder}/server").glob("*.sqlite"))
        with sqlite3.connect(database) as file:
            return [json.loads(row[0]) for row in file.execute("SELECT json FROM event WHERE kind = ?", [kind])]

    def test_one_event_reaches_the_server_after_the_consent_and_nothing_is_kept_before(self):
        self.device.sign_in(self.server, "ann@tolvik.example")
        self.start_desktop()
        self.speak("start the quarterly report")
        self.assertIn("report", self.device.run("status")[1].lower())
        self.assertEqual(list(self.data.glob("*-analytics-buffer.json*")), [])
        self.assertNotIn("tolvik.analytics.anonId", self.device.run("data", "keys")[1])

        consent = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
        self.assertEqual(self.device.run("telemetry", "on")[0], 0)
        self.speak("stop")
        event, = wait_for(self.buffered, "the event is kept")
        self.assertEqual(event["action"], "stop")
        self.assertGreater(event["audioBytes"], 1000)
        self.assertGreater(event["latencyMs"], 0)

        # What waits is sent at the next start.
        self.assertEqual(end(self.device.desktop, signal.SIGTERM), 0)
        self.start_desktop()
        wait_for(lambda: self.buffered() == [], "the event has arrived")
        self.assertEqual(end(self.device.desktop, signal.SIGTERM), 0)
        self.server.close()
        self.assertEqual(self.received("voice"), [event])
        for one in self.received("product"):
            self.assertGreaterEqual(one["ts"], consent, one)


if __name__ == "__main__":
    unittest.main(verbosity=2)
