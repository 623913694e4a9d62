"""The real application's window as assistive technology sees it, and ways to use it from there."""

import os
import subprocess
import sys
import time
from pathlib import Path

try:
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi, GLib
except (ImportError, ValueError):
    print("python3-pyatspi is not installed", file=sys.stderr)
    sys.exit(77)

BINARIES = Path(sys.argv[1] if len(sys.argv) > 1 else "build/release/bin").resolve()
# The limit for anything to happen (seconds), generous for a busy machine.
PATIENCE = 30
PRESSED = (Atspi.Role.PUSH_BUTTON, Atspi.Role.PAGE_TAB, Atspi.Role.LIST_ITEM, Atspi.Role.LINK)


def wait_for(condition, what):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        try:
            if found := condition():
                return found
        except GLib.Error:
            pass  # it went away while it was looked at
        time.sleep(0.05)
    raise SystemExit(f"waited in vain: {what}")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, check=False)


def start(**environment):
    """The application past its first run; variables that are None are taken away."""
    chosen = {**os.environ, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", **environment}
    return subprocess.Popen([BINARIES / "tolvik-desktop", "--skip-welcome"], stdin=subprocess.DEVNULL,
                            env={name: value for name, value in chosen.items() if value is not None})


def application():
    desktop = Atspi.get_desktop(0)
    children = (desktop.get_child_at_index(i) for i in range(desktop.get_child_count()))
    return next((each for each in children if each and (each.get_name() or "").lower().startswith("tolvik")), None)


def elements(root, depth=0):
    """What is shown, top down."""
    if not root or depth > 40 or (depth > 1 and not root.get_state_set().contains(Atspi.StateType.SHOWING)):
        return
    yield root
    for i in range(root.get_child_count()):
        yield from elements(root.get_child_at_index(i), depth + 1)


def names():
    return [element.get_name() for element in elements(application()) if element.get_name()]


def shows(words):
    wait_for(lambda: any(words in name for name in names()), f"“{words}”")


def press(name):
    """Presses a button by its accessible action, as a screen reader does."""
    def pressed():
        for element in elements(application()):
            if element.get_name() == name and element.get_role() in PRESSED:
                return Atspi.Action.get_n_actions(element) > 0 and Atspi.Action.do_action(element, 0)
        return False
    wait_for(pressed, f"the button {name}")
