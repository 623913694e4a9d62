"""What is said, and what must then stand in the log."""

from dataclasses import dataclass

NOISE = object()
SILENCE = object()


@dataclass
class Line:
    """One press of the chord, and the whole log as it must be afterwards."""

    # The sentence, NOISE or SILENCE.
    said: object
    # The title that runs, None when nothing runs.
    running: object
    # The status of every task by its title.
    tasks: dict
    # Every change of the running task as (from, to), oldest first; from is None when nothing ran.
    switches: list


REPORT = "quarterly report"
DESIGN = "design review"


def script():
    """The lines in order. Each states the log by itself, so that a wrong step is named by its own line."""
    both = {REPORT: "open", DESIGN: "open"}
    finished = {REPORT: "open", DESIGN: "done"}
    begun = [(None, REPORT)]
    second = begun + [(REPORT, DESIGN)]
    back = second + [(DESIGN, REPORT)]
    again = back + [(REPORT, DESIGN)]
    resumed = again + [(None, DESIGN)]
    return [
        Line("start the quarterly report", REPORT, {REPORT: "open"}, begun),
        Line("start design review", DESIGN, both, second),
        Line("switch to the quarterly report", REPORT, both, back),
        Line("task two", DESIGN, both, again),
        Line("pause for now", None, both, again),
        Line("back to design review", DESIGN, both, resumed),
        Line("done", None, finished, resumed),
        Line(NOISE, None, finished, resumed),
        Line(SILENCE, None, finished, resumed),
    ]


@dataclass
class Log:
    """What the log holds, by titles."""

    running: object
    tasks: dict
    switches: list
    # The titles of all intervals of work, oldest first, and how many of them are still open.
    entries: list
    open_entries: int
    sources: set
    # When the last interval began or ended, as seconds since 1970, to a millisecond.
    changed: float


def differences(line, log):
    """How the log differs from what the line leaves behind; empty when it does not."""
    found = []
    for what, wanted, seen in (
        ("running", line.running, log.running),
        ("tasks", line.tasks, log.tasks),
        ("switches", line.switches, log.switches),
        ("intervals", [to for _, to in line.switches], log.entries),
        ("open intervals", 0 if line.running is None else 1, log.open_entries),
        ("switches were made by", {"voice"}, log.sources),
    ):
        if wanted != seen:
            found.append(f"{what}: expected {wanted}, the log has {seen}")
    return found
