#!/usr/bin/python3
"""Reads the real application's window as assistive technology does: on the accessibility bus every control of every
page has a role, a name and a place.

    tests/desktop/with-desktop.sh --no-sound -- tests/desktop/accessible_tree.py BINARIES [-v]

Exit code 77 when the accessibility bus cannot be read here.
"""

import signal
import sys

from window_on_the_bus import (Atspi, BINARIES, PATIENCE, application, elements, press, run, start, wait_for)

VERBOSE = "-v" in sys.argv
# The pages by their entry in the sidebar, with the fewest controls that each shows besides the sidebar's.
PAGES = {"Home": 8, "Projects": 3, "Reports": 6, "Dictionary": 4, "Settings": 12}
CONTROLS = {
    Atspi.Role.PUSH_BUTTON, Atspi.Role.TOGGLE_BUTTON, Atspi.Role.CHECK_BOX, Atspi.Role.RADIO_BUTTON,
    Atspi.Role.COMBO_BOX, Atspi.Role.ENTRY, Atspi.Role.TEXT, Atspi.Role.PASSWORD_TEXT, Atspi.Role.SLIDER,
    Atspi.Role.SPIN_BUTTON, Atspi.Role.LINK, Atspi.Role.MENU_ITEM, Atspi.Role.PAGE_TAB, Atspi.Role.LIST_ITEM,
}


def controls():
    found = []
    for element in elements(application()):
        states = element.get_state_set()
        if element.get_role() in CONTROLS or states.contains(Atspi.StateType.FOCUSABLE):
            area = element.get_extents(Atspi.CoordType.SCREEN)
            found.append((element.get_role_name(), element.get_name() or "", (area.x, area.y, area.width, area.height)))
    return found


def described(control):
    role, name, area = control
    return f"{role} “{name}” at {area}"


def faults(page, fewest):
    """What is wrong with the page that is shown."""
    shown = controls()
    if VERBOSE:
        print(page, *(f"\n  {described(each)}" for each in shown))
    found = [f"no name: {described(each)}" for each in shown if not each[1].strip() and each[0] not in ("frame", "window")]
    found += [f"no place: {described(each)}" for each in shown if each[2][2] <= 0 or each[2][3] <= 0]
    if len(shown) < fewest:
        found.append(f"only {len(shown)} controls, {fewest} expected")
    return [f"{page}: {each}" for each in found], len(shown)


def main():
    for title in ("Tide tables", "Chart the reef", "Mend the nets"):
        if run(BINARIES / "tolvik", "start", title).returncode != 0:
            raise SystemExit("the log cannot be filled")
    desktop = start()
    wrong, count = [], 0
    try:
        wait_for(lambda: application() and len(controls()) > 5, "the window on the accessibility bus")
        sidebar = None
        for page, fewest in PAGES.items():
            before = controls()
            press(page)
            if sidebar is not None:
                wait_for(lambda: controls() != before, f"the page {page}")
            sidebar = sidebar or len(PAGES)
            # It is complete when it has stopped growing.
            last = []
            def settled():
                nonlocal last
                before, last = last, controls()
                return before == last and len(last) > 0
            wait_for(settled, f"all of the page {page}")
            found, shown = faults(page, fewest + sidebar)
            wrong += found
            count += shown
    finally:
        desktop.send_signal(signal.SIGTERM)
        desktop.wait(PATIENCE)
    for each in wrong:
        print(each, file=sys.stderr)
    print(f"{count} controls on {len(PAGES)} pages, {len(wrong)} faults")
    return 1 if wrong or desktop.returncode != 0 else 0


if __name__ == "__main__":
    sys.exit(main())
