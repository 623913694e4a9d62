"""Plays the story on the stage and keeps the record of it."""

import os
import time

from program import DiskWatch, Program, Trace, wait_for
from stage import Camera, Editor, FocusWatch, press, release, xdotool
from story import NOISE, SILENCE, differences, script
from voice import Voice, play
from x11 import Display

# The longest that an answer may take after the release before the story goes on without it.
PATIENCE = 15
# The end of the title of the window; a running task stands before it.
WINDOW = "Tolvik$"
# From a person's last sound to the fingers leaving the keys.
FINGERS = 0.05


class Row:
    """One line of the table."""

    def __init__(self, number, said):
        self.number = number
        self.said = said
        self.heard = ""
        self.did = ""
        self.milliseconds = None
        self.problems = []


class Performance:
    def __init__(self, options):
        self.options = options
        self.lines = script()[: options.stop_after]
        self.voice = Voice(os.path.join(options.out, "sound"), options.voice)
        self.camera = Camera(options.out)
        self.rows = []
        self.program = self.editor = self.watch = self.disk = None
        self.ready_after = None

    # --- acts ------------------------------------------------------------------------------------------------------

    def play(self):
        """The whole story; whether all was as it must be."""
        print("Preparing the voice", flush=True)
        clips = [self.clip(number, line) for number, line in enumerate(self.lines, 1)]
        print("Opening the application and an editor", flush=True)
        self.open()
        for number, (line, clip) in enumerate(zip(self.lines, clips), 1):
            row = self.say(number, line, clip)
            self.rows.append(row)
            print(self.table_row(row), flush=True)
        complaints = self.close()
        self.report(complaints)
        return not complaints and not any(row.problems for row in self.rows)

    def clip(self, number, line):
        said = self.said(number, line)
        if said is NOISE:
            return self.voice.noise(number, 2.2)
        return None if said is SILENCE else self.voice.sentence(number, said)

    def said(self, number, line):
        return self.options.say_instead.get(number, line.said)

    def open(self):
        start = time.monotonic()
        self.program = Program(self.options.binaries, self.options.out)
        self.trace = Trace(self.program.trace_path)

        def ready():
            if not self.program.alive():
                raise RuntimeError("the application ended at once, see desktop.log")
            self.trace.read()
            return self.trace.seen and xdotool("search", "--onlyvisible", "--name", WINDOW)

        wait_for(ready, 20, "the application opens its window")
        self.ready_after = time.monotonic() - start
        self.editor = Editor(self.options.out)
        time.sleep(1)
        self.editor.focus()
        self.watch = FocusWatch(self.editor.window)
        self.watch.start()
        self.disk = DiskWatch(self.program.data)
        self.disk.start()
        self.editor.write("Present: ")
        print(HEADING, flush=True)

    def say(self, number, line, clip):
        said = self.said(number, line)
        row = Row(number, "(noise)" if said is NOISE else "(silence)" if said is SILENCE else said)
        self.trace.read()
        before = len(self.trace.seen)
        press()
        time.sleep(0.1)
        if clip:
            sound = play(clip)
            if number == 2:
                self.picture_of("listening", lambda state: state["phase"] == "listening" and state.get("pending"),
                                lambda: sound.poll() is None)
            if sound.wait() != 0:
                row.problems.append("the sentence could not be played")
            time.sleep(FINGERS)
        else:
            time.sleep(1.5)
        released = time.time()
        release()
        # The picture of the short phase first, then the outcome.
        if number == 2:
            self.picture_of("transcribing", lambda state: state["phase"] == "transcribing",
                            lambda: time.time() < released + 1)
        end = time.monotonic() + PATIENCE
        state = {}
        while time.monotonic() < end and self.program.alive():
            self.trace.read()
            late = [one["state"] for one in self.trace.seen[before:] if one["at"] >= released * 1000 - 50]
            state = late[-1] if late else {}
            if state.get("phase") in ("done", "idle") or "error" in state:
                break
            time.sleep(0.01)
        else:
            row.problems.append("no end of the session was seen" if self.program.alive() else "the application ended")
            return row
        row.heard = state.get("transcript", "") or self.last_transcript(before)
        row.did = state.get("done", "") or state.get("error", "") or "nothing"
        if number == 2 and state.get("phase") == "done":
            time.sleep(0.3)
            self.camera.take("pill-done")
        log = self.program.log()
        if log.changed >= released - 0.001:
            written = wait_for(lambda: self.disk.written_after(log.changed), 2, "the log is written")
            row.milliseconds = (written - released) * 1000
        row.problems += differences(line, log)
        self.rest()
        self.editor.write(f"{number} ")
        return row

    def last_transcript(self, before):
        texts = [one["state"]["transcript"] for one in self.trace.seen[before:] if one["state"]["transcript"]]
        return texts[-1] if texts else ""

    def picture_of(self, name, wanted, meanwhile):
        """Takes the pill's picture as soon as the session is in a state; none when it ends before."""
        while meanwhile():
            self.trace.read()
            if self.trace.seen and wanted(self.trace.seen[-1]["state"]):
                # The state is known before it is drawn.
                time.sleep(0.06)
                self.camera.take("pill-" + name)
                return
            time.sleep(0.005)

    def rest(self):
        """Waits until the pill has gone."""
        def idle():
            self.trace.read()
            return not self.program.alive() or self.trace.seen[-1]["state"]["phase"] == "idle"
        wait_for(idle, 10, "the session ends")
        time.sleep(0.3)

    def close(self):
        """Looks at the editor, the home page and the menu; what was wrong."""
        complaints = []
        if not self.watch.stop():
            complaints.append(f"the editor lost the focus to {self.watch.strangers or 'nobody, it was not watched'}")
        content = self.editor.content()
        if content != self.editor.typed:
            complaints.append(f"the editor holds {content!r} where {self.editor.typed!r} was typed")
        if not self.program.alive():
            return complaints + ["the application ended before its time"]
        print("\nWhat the command line says:\n" + self.program.words("status") + self.program.words("log"))
        self.home_page(complaints)
        self.menu(complaints)
        if not self.program.stop():
            complaints.append("the application did not quit properly")
        return complaints

    def home_page(self, complaints):
        windows = xdotool("search", "--onlyvisible", "--name", WINDOW)
        if not windows:
            complaints.append("the application's window is not there")
            return
        xdotool("windowactivate", "--sync", windows[-1])
        time.sleep(1.2)
        self.camera.take("home")

    def menu(self, complaints):
        icon = self.tray_icon()
        if not icon:
            complaints.append("no icon in the tray")
            return
        def windows():
            return set(xdotool("search", "--onlyvisible", "--pid", str(self.program.process.pid)))

        before = windows()
        xdotool("mousemove", "--window", icon, "8", "8", "click", "3")
        time.sleep(1)
        if not windows() - before:
            complaints.append("no menu opens from the icon in the tray")
        self.camera.take("menu")
        xdotool("key", "Escape")
        time.sleep(0.3)

    @staticmethod
    def tray_icon():
        """The window of the icon: the innermost one in the tray."""
        display = Display()
        for tray in xdotool("search", "--onlyvisible", "--class", "trayer"):
            window = int(tray)
            while children := display.children(window):
                window = children[-1]
            if window != int(tray):
                return str(window)
        return None

    def end(self):
        """Leaves nothing running, whatever happened."""
        for path in self.camera.develop():
            print("Picture:", path)
        if self.watch and self.watch.is_alive():
            self.watch.stop()
        if self.disk:
            self.disk.over.set()
        if self.editor:
            self.editor.close()
        if self.program and self.program.alive():
            self.program.stop()

    # --- record ----------------------------------------------------------------------------------------------------

    @staticmethod
    def table_row(row):
        time_ = "" if row.milliseconds is None else f"{row.milliseconds:.0f}"
        return (f"{row.number:>2}  {row.said:<32.32}  {row.heard:<32.32}  {row.did:<28.28}  {time_:>8}  "
                f"{'as spoken' if not row.problems else 'WRONG'}")

    def report(self, complaints):
        times = sorted(row.milliseconds for row in self.rows if row.milliseconds is not None)
        if times:
            print(f"From release to the written log: {times[len(times) // 2]:.0f} ms median, {times[-1]:.0f} ms at most; "
                  f"the application was ready after {self.ready_after * 1000:.0f} ms")
        for row in self.rows:
            for problem in row.problems:
                print(f"Line {row.number} ({row.said}): {problem}")
        for complaint in complaints:
            print("Complaint:", complaint)
        print(f"The editor was looked at {self.watch.looks} times and had the focus "
              f"{'always' if not self.watch.strangers else 'not always'}.")


HEADING = (f"{'':>2}  {'said':<32}  {'heard':<32}  {'did':<28}  {'log, ms':>8}\n" + "-" * 118)
