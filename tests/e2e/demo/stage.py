"""The person at the desk: an editor that has the focus, fingers on the chord, an eye on the screen."""

import os
import subprocess
import threading

from program import wait_for
from x11 import Display, save_png

CHORD = ["Control_L", "Alt_L", "Shift_L"]


def xdotool(*arguments):
    done = subprocess.run(["xdotool", *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, check=False)
    return done.stdout.decode().split()


def press():
    """Puts the chord down, one key after another as fingers do."""
    xdotool(*[word for key in CHORD for word in ("keydown", key)])


def release():
    xdotool(*[word for key in reversed(CHORD) for word in ("keyup", key)])


class Editor:
    """A text editor with a file; the person goes on writing in it between the sentences."""

    def __init__(self, folder):
        self.path = os.path.join(folder, "minutes.txt")
        self.typed = "Minutes of the meeting\n"
        with open(self.path, "w", encoding="utf-8") as file:
            file.write(self.typed)
        self.process = subprocess.Popen(["mousepad", "--disable-server", self.path], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        found = wait_for(lambda: xdotool("search", "--onlyvisible", "--pid", str(self.process.pid)), 20,
                         "the editor opens")
        self.window = int(found[-1])
        xdotool("windowsize", str(self.window), "620", "420")
        xdotool("windowmove", str(self.window), "40", "60")
        self.focus()
        xdotool("key", "ctrl+End")

    def focus(self):
        xdotool("windowactivate", "--sync", str(self.window))

    def write(self, text):
        xdotool("type", "--delay", "15", text)
        self.typed += text

    def content(self):
        """What the editor holds, saved as a person would."""
        before = os.stat(self.path).st_mtime_ns
        xdotool("key", "ctrl+s")
        try:
            wait_for(lambda: os.stat(self.path).st_mtime_ns != before, 5, "the editor saves")
        except RuntimeError as error:
            return f"<{error}>"
        with open(self.path, encoding="utf-8") as file:
            return file.read()

    def close(self):
        self.process.terminate()
        self.process.wait()


class FocusWatch(threading.Thread):
    """Looks fifty times a second whether a window still has the focus."""

    def __init__(self, window):
        super().__init__(daemon=True)
        self.window = window
        self.looks = 0
        self.strangers = set()
        self.over = threading.Event()

    def run(self):
        display = Display()
        focused = display.focused_window()
        while not self.over.wait(0.02):
            self.looks += 1
            active, now = display.active_window(), display.focused_window()
            if active != self.window or now != focused:
                self.strangers.add((active, now))

    def stop(self):
        """Whether the window had the focus at every look."""
        self.over.set()
        self.join()
        return self.looks > 0 and not self.strangers


class Camera:
    """Takes pictures of the screen into a folder; they are written at the end, since encoding takes time."""

    def __init__(self, folder):
        self.folder = folder
        self.display = Display()
        self.taken = {}

    def take(self, name):
        self.taken[name] = self.display.picture()

    def develop(self):
        """Writes the pictures; their paths."""
        paths = []
        for name, picture in self.taken.items():
            paths.append(os.path.join(self.folder, name + ".png"))
            save_png(picture, paths[-1])
        return paths
