#!/usr/bin/env python3
"""A person speaks to the program while writing in an editor, for real and unattended.

On a desktop of its own (X server, window manager, session bus, sound server with a virtual microphone) this starts
the application that was built, presses the real chord, plays spoken sentences into the microphone, lets go, and
compares the log after each sentence with what was said. Prints a table and leaves pictures behind. Exit code 0 only
when every line of the log is as spoken, the editor holds exactly what was typed and never lost the focus; 1 when not, 3
when it could not be tried.
"""

import argparse
import os
import shutil
import sys
import time
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.abspath(os.path.join(HERE, "..", "..", ".."))
sys.path.insert(0, HERE)


def arguments():
    parser = argparse.ArgumentParser(prog="./run --demo", description=__doc__.split("\n\n")[0])
    parser.add_argument("--out", default="build/demo", help="folder for pictures, sound and logs")
    parser.add_argument("--voice", default="awb", choices=("slt", "rms", "awb", "kal16"), help="who speaks")
    parser.add_argument("--say-instead", nargs=2, action="append", default=[], metavar=("LINE", "SENTENCE"),
                        help="says another sentence in this line; what is expected stays as it is")
    parser.add_argument("--stop-after", type=int, metavar="LINE", help="ends the story after this line")
    parser.add_argument("--binaries", default="build/release/bin", help="folder of the programs")
    parser.add_argument("--on-this-desktop", action="store_true", help=argparse.SUPPRESS)
    chosen = parser.parse_args()
    chosen.say_instead = {int(number): sentence for number, sentence in chosen.say_instead}
    return chosen


def main():
    options = arguments()
    os.chdir(ROOT)
    if not options.on_this_desktop:
        shutil.rmtree(options.out, ignore_errors=True)
        os.makedirs(options.out)
        desktop = ["tests/desktop/with-desktop.sh", "--size", "1440x960", "--tray", "--compositor",
                   "--logs", options.out + "/desktop-logs"]
        os.execv(desktop[0], [*desktop, "--", sys.executable, HERE, *sys.argv[1:], "--on-this-desktop"])

    import performance  # needs a display

    began = time.monotonic()
    show = performance.Performance(options)
    try:
        good = show.play()
    except Exception:  # not what was spoken, but the stage: an exit code of its own
        traceback.print_exc()
        return 3
    finally:
        show.end()
    print(f"Took {time.monotonic() - began:.0f} s. Pictures, sound and logs: {options.out}")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
