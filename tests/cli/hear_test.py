"""`hear` with the real engine: recordings by a synthetic voice become commands."""

import os
import subprocess
import unittest

from support import DONE, NOTHING, Home

MODELS = os.environ["TOLVIK_REAL_MODELS"]


def runs(*command):
    try:
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
    except FileNotFoundError:
        return False


class Hearing(Home):
    def setUp(self):
        super().setUp()
        if not os.path.exists(os.path.join(MODELS, "speech", "tokens.txt")):
            self.skipTest("NOT TESTED WITH THE REAL ENGINE: the models are not set up")
        self.environment["TOLVIK_MODELS"] = MODELS

    def recording(self, sentence, name="spoken.wav"):
        path = os.path.join(self.home, name)
        wave = path if name.endswith(".wav") else path + ".wav"
        if not runs("flite", "-voice", "rms", "-t", sentence, "-o", wave):
            self.skipTest("NOT TESTED WITH A VOICE: flite is not installed")
        if wave != path and not runs("ffmpeg", "-v", "error", "-y", "-i", wave, "-c:a", "aac", "-b:a", "64k", path):
            self.skipTest("NOT TESTED WITH A COMPRESSED RECORDING: ffmpeg is not installed")
        return path

    def test_a_recording_does_what_was_said(self):
        grant = self.json("start", "Grant application")["taskId"]
        self.tolvik("start", "Design review")
        path = self.recording("complete the grant application")

        tried = self.json("hear", path, "--dry-run")
        self.assertEqual((tried["action"], tried["taskId"]), ("done", grant))
        self.assertEqual(self.running_title(), "Design review")
        self.assertNotIn("done", [task["status"] for task in self.collection("tasks")])

        heard = self.json("hear", path)
        self.assertEqual((heard["action"], heard["taskId"]), ("done", grant))
        self.assertEqual(heard["transcript"].lower(), "complete the grant application")
        self.assertGreater(heard["transcribeMs"], 0)
        status = {task["id"]: task["status"] for task in self.collection("tasks")}
        self.assertEqual(status[grant], "done")

        self.tolvik("start", "Inbox")
        words, _ = self.tolvik("hear", self.recording("switch to design review"))
        self.assertIn("design review", words.lower())

    def test_a_compressed_recording_is_heard_too(self):
        task = self.json("start", "Backup server")["taskId"]
        self.tolvik("start", "Design review")
        heard = self.json("hear", self.recording("switch to backup server", "spoken.m4a"))
        self.assertEqual((heard["action"], heard["taskId"]), ("switch", task))
        self.assertEqual(self.running_title(), "Backup server")

    def test_silence_and_noise_do_nothing(self):
        self.tolvik("start", "Design review")
        for sound in (("trim", "0", "1.5"), ("synth", "2", "brownnoise", "vol", "0.3")):
            path = os.path.join(self.home, "still.wav")
            if not runs("sox", "-n", "-r", "16000", "-c", "1", "-b", "16", path, *sound):
                self.skipTest("NOT TESTED: sox is not installed")
            process = self.start("hear", path, "--json")
            out, err = process.communicate(timeout=60)
            self.assertIn(process.returncode, (DONE, NOTHING), err)
            self.assertIn('"none"', out)
        self.assertEqual(self.running_title(), "Design review")
        self.assertEqual(len(self.collection("tasks")), 1)


if __name__ == "__main__":
    unittest.main()
