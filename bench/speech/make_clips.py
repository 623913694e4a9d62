#!/usr/bin/env python3
"""Makes the sound clips that speech is measured with.

    make_clips.py FOLDER [--sets tuning,report] [--voices slt,rms,awb]

Every sentence of every voice becomes FOLDER/SET/VOICE/NNN.wav (16 kHz, one channel) with 150 ms of room before the
first word and at most 80 ms after the last; FOLDER/SET.tsv lists voice, file, kind, sentence, action and task.
FOLDER/noise/NNN.wav holds the hundred clips in which nobody speaks. The same call makes the same clips.
"""

import argparse
import array
import itertools
import math
import random
import subprocess
import sys
import tempfile
import wave
from pathlib import Path

import sets

RATE = 16000
ROOM = 0.0006  # the amplitude of the room's noise, about -64 dB

VOICES = {
    "slt": ["festival", "(voice_cmu_us_slt_arctic_hts)"],
    "rms": ["flite", "rms"],
    "awb": ["flite", "awb"],
    "fslt": ["flite", "slt"],
    "kal": ["flite", "kal16"],
    "espeak-us": ["espeak", "en-us"],
    "espeak-gb": ["espeak", "en-gb"],
}
DEFAULT_VOICES = ["slt", "rms", "awb", "fslt", "kal", "espeak-us"]


def synthesize(voice, sentence, path):
    kind, name = VOICES[voice]
    if kind == "festival":
        subprocess.run(["text2wave", "-eval", name, "-o", path], input=sentence.encode(), check=True,
                       stderr=subprocess.DEVNULL)
    elif kind == "flite":
        subprocess.run(["flite", "-voice", name, "-t", sentence, "-o", path], check=True, stdout=subprocess.DEVNULL)
    else:
        subprocess.run(["espeak-ng", "-v", name, "-s", "160", "-w", path, sentence], check=True)


def read(path):
    with wave.open(str(path)) as file:
        data = array.array("h", file.readframes(file.getnframes()))
    return [each / 32768 for each in data]


def write(path, samples):
    data = array.array("h", (max(-32768, min(32767, round(each * 32767))) for each in samples))
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(data.tobytes())


def trimmed(samples, before=0.15, after=0.08):
    """Cuts to the first and last 10 ms frame above 2 % of the loudest one, and leaves the given room around."""
    frame = RATE // 100
    power = [sum(each * each for each in samples[at:at + frame]) for at in range(0, len(samples), frame)]
    floor = 0.0004 * max(power)
    loud = [number for number, each in enumerate(power) if each > floor]
    begin, end = loud[0] * frame, (loud[-1] + 1) * frame
    return [0.0] * int(before * RATE) + samples[begin:end] + [0.0] * int(after * RATE)


def speak(voice, sentence, take, path, chance):
    with tempfile.TemporaryDirectory() as folder:
        raw, even = folder + "/raw.wav", folder + "/even.wav"
        synthesize(voice, sentence, raw)
        subprocess.run(["sox", "-G", raw, "-r", str(RATE), "-c", "1", "-b", "16", even, *take], check=True)
        samples = trimmed(read(even))
    peak = max(abs(each) for each in samples)
    samples = [each * 0.5 / peak + chance.gauss(0, ROOM) for each in samples]
    write(path, samples)


def noises(chance):
    """(name, samples) of a hundred clips of one to four seconds without a word."""

    def white(seconds, level):
        return [chance.gauss(0, level) for _ in range(int(seconds * RATE))]

    def lowpassed(samples, share):
        out, state = [], 0.0
        for each in samples:
            state += share * (each - state)
            out.append(state)
        return out

    def bandpassed(samples, centre, width):
        r = math.exp(-math.pi * width / RATE)
        a, b = 2 * r * math.cos(2 * math.pi * centre / RATE), -r * r
        one = two = 0.0
        out = []
        for each in samples:
            now = each * (1 - r) + a * one + b * two
            two, one = one, now
            out.append(now)
        return out

    def scaled(samples, peak):
        loudest = max(abs(each) for each in samples) or 1
        return [each * peak / loudest for each in samples]

    def room(samples):
        return [each + chance.gauss(0, ROOM) for each in samples]

    for number in range(10):
        seconds = 0.5 + 0.4 * number
        yield "silence", [0.0] * int(seconds * RATE) if number < 4 else white(seconds, ROOM * number / 3)
    for number in range(15):
        yield "white", white(1 + 0.2 * number, 0.004 * 1.35 ** number)
    for number in range(15):
        yield "rumble", room(scaled(lowpassed(white(1 + 0.2 * number, 1), 0.02 + 0.03 * number), 0.05 + 0.04 * number))
    for number in range(20):
        seconds, first = 0.6 + 0.15 * number, 110 * 1.22 ** number
        kind = number % 4
        out = []
        phase = 0.0
        for at in range(int(seconds * RATE)):
            now = at / RATE
            pitch = first * (1 + (0.6 * now / seconds if kind == 1 else 0))
            phase += 2 * math.pi * min(pitch, 7000) / RATE
            value = math.sin(phase)
            if kind == 2:  # a telephone: two tones, on and off
                value = 0.5 * (value + math.sin(phase * 1.09)) * (1 if now % 0.8 < 0.4 else 0)
            if kind == 3:  # a chime that dies away
                value = (value + 0.4 * math.sin(phase * 2.76)) / 1.4 * math.exp(-3 * (now % 1.0))
            out.append(0.3 * value)
        yield "tone", room(out)
    for number in range(20):
        seconds = 0.8 + 0.1 * number
        out = [0.0] * int(seconds * RATE)
        for _ in range(1 + number // 2):
            start = chance.randrange(int(0.1 * RATE), len(out) - 1200)
            decay = chance.uniform(15, 150)
            for at in range(1000):
                out[start + at] += chance.gauss(0, 0.5) * math.exp(-at / decay)
        yield "click", room(scaled(out, 0.3 + 0.03 * number))
    for number in range(20):
        seconds = 1.2 + 0.1 * number
        centre = 500 + 110 * number
        air = bandpassed(white(seconds, 1), centre, 600 + 40 * number)
        high = bandpassed(white(seconds, 1), 2 * centre + 900, 1500)
        out = []
        for at, (low, top) in enumerate(zip(air, high)):
            breath = max(0.0, math.sin(2 * math.pi * at / RATE / (0.9 + 0.05 * number))) ** 1.5
            out.append((low + 0.6 * top) * breath)
        yield "breath", room(scaled(out, 0.03 + 0.015 * number))


def main():
    options = argparse.ArgumentParser()
    options.add_argument("folder", type=Path)
    options.add_argument("--sets", default="tuning,report")
    options.add_argument("--voices", default=",".join(DEFAULT_VOICES))
    options = options.parse_args()
    sets.check()
    for name in options.sets.split(","):
        rows = []
        words = sets.SETS[name]
        for voice in options.voices.split(","):
            folder = options.folder / name / voice
            folder.mkdir(parents=True, exist_ok=True)
            for number, (take, command) in enumerate(itertools.product(words["takes"], words["commands"])):
                kind, sentence, action, task = command
                path = folder / f"{number:03}.wav"
                if not path.exists():
                    speak(voice, sentence, take, path, random.Random(f"{name}{voice}{number}"))
                rows.append("\t".join([voice, str(path.relative_to(options.folder)), kind, sentence, action,
                                       task or ""]))
            print(name, voice, number + 1, file=sys.stderr)
        (options.folder / f"{name}.tsv").write_text("\n".join(rows) + "\n")
        (options.folder / f"{name}.words").write_text(
            "\n".join(["task\t" + each for each in words["tasks"]] + ["project\t" + each for each in words["projects"]] +
                      ["term\t" + each for each in words["terms"]]) + "\n")
    folder = options.folder / "noise"
    folder.mkdir(parents=True, exist_ok=True)
    rows = []
    for number, (kind, samples) in enumerate(noises(random.Random(7))):
        path = folder / f"{number:03}.wav"
        if not path.exists():
            write(path, samples)
        rows.append("\t".join(["-", str(path.relative_to(options.folder)), kind, "", "none", ""]))
    (options.folder / "noise.tsv").write_text("\n".join(rows) + "\n")
    print("noise", len(rows), file=sys.stderr)


if __name__ == "__main__":
    main()
