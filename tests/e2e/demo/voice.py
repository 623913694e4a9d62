"""A voice for the demonstration: sentences become sound, and sound goes into the virtual microphone."""

import os
import subprocess

FLITE = {"rms", "awb", "kal16"}


class Voice:
    """Makes sound files in `folder`, spoken by `name`: slt, rms, awb, kal16."""

    def __init__(self, folder, name):
        self.folder = folder
        self.name = name
        os.makedirs(folder, exist_ok=True)

    def sentence(self, number, text):
        """A file with the sentence, with at most 0.1 s of silence after the last word."""
        raw, clip = (os.path.join(self.folder, f"{number:02}{end}.wav") for end in ("-raw", ""))
        if self.name in FLITE:
            subprocess.run(["flite", "-voice", self.name, "-t", text, "-o", raw], check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        else:
            subprocess.run(["text2wave", "-eval", "(voice_cmu_us_slt_arctic_hts)", "-o", raw], input=text.encode(),
                           check=True, stderr=subprocess.DEVNULL)
        # Only the end is cut, and at a low threshold: a first "s" is softer than it seems.
        self.sox([raw], clip, "norm", "-3", "reverse", "silence", "1", "0.005", "0.05%", "reverse", "norm", "-6",
                 "pad", "0", "0.08")
        os.remove(raw)
        return clip

    def noise(self, number, seconds):
        """A file with noise in which nobody says anything."""
        clip = os.path.join(self.folder, f"{number:02}.wav")
        self.sox(["-n"], clip, "synth", str(seconds), "brownnoise", "tremolo", "3", "80", "norm", "-12")
        return clip

    @staticmethod
    def sox(source, clip, *effects):
        subprocess.run(["sox", "-R", *source, "-r", "48000", "-c", "1", "-b", "16", clip, *effects], check=True,
                       stderr=subprocess.DEVNULL)


def play(clip):
    """Begins to play into the microphone; the process ends when the last sample has been heard.

    The player sends a quarter of a second ahead, so that a busy machine does not tear the sentence apart.
    """
    return subprocess.Popen(["paplay", "--latency-msec=250", "--device=" + os.environ["TOLVIK_VIRTUAL_MIC_SINK"], clip],
                            stdin=subprocess.DEVNULL)
