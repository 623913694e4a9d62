#!/usr/bin/env python3
"""Makes the log and the figures that the answerer's questions are checked against.

The figures are added up here, by other code than the answerer's. Writes log.txt, and beside each list of questions
(questions_*.txt) a table of question, expected milliseconds or "refuse", and texts that the answer must hold.
Each line of a list: question | what is asked, in the terms of `figure` below.
"""

import datetime as dt
import os
import random
import sys
import zoneinfo

HERE = os.path.dirname(os.path.abspath(__file__))
ZONE = zoneinfo.ZoneInfo("Europe/Helsinki")
NOW = dt.datetime(2026, 11, 19, 15, 20, tzinfo=ZONE)
PROJECTS = ["Tolvik", "Lumora", "Harbour Site", "Administration"]
# Title, project, how often it comes up, and whether each week starts a new task of that title.
KINDS = [
    ("Coding the auth flow", "Tolvik", 9, False),
    ("Release notes", "Tolvik", 3, False),
    ("C++ upgrade", "Tolvik", 2, False),
    ("Sprint 12 planning", "Tolvik", 1, False),
    ("Sprint 13 planning", "Tolvik", 1, False),
    ("Design review", "Lumora", 3, True),
    ("Design review with Kadri", "Lumora", 2, False),
    ("Q3 roadmap", "Lumora", 3, False),
    ("Landing page", "Harbour Site", 4, False),
    ("Booking form", "Harbour Site", 3, False),
    ("Invoice Brunwald", "Administration", 1, False),
    ("Invoice Ostermann", "Administration", 1, False),
    ("Email", "Administration", 6, True),
    ("Monday meeting", None, 2, False),
    ("Reading", None, 3, False),
    ("Näitused & café", None, 1, False),
]


def make_log():
    chance = random.Random(20261119)
    tasks, entries, ids = [], [], {}

    def task_of(kind, day):
        title, project, _, weekly = kind
        key = (title, day.isocalendar()[:2] if weekly else None)
        if key not in ids:
            ids[key] = f"0B{len(tasks):06X}-0000-4000-8000-0000000000A1"
            tasks.append((ids[key], title, project))
        return ids[key]

    day = dt.date(2025, 9, 1)
    while day <= NOW.date():
        works = chance.random() < (0.85 if day.weekday() < 5 else 0.1)
        at = dt.datetime(day.year, day.month, day.day, 8, 30, tzinfo=ZONE) + dt.timedelta(
            milliseconds=chance.randrange(3_600_000))
        for _ in range(chance.randrange(2, 6) if works else 0):
            kind = chance.choices(KINDS, [k[2] for k in KINDS])[0]
            length = dt.timedelta(milliseconds=chance.randrange(300_000, 9_000_000))
            end = (at.astimezone(dt.timezone.utc) + length).astimezone(ZONE)
            if end < NOW - dt.timedelta(hours=1):
                entries.append((task_of(kind, day), at, end))
            at = end + dt.timedelta(milliseconds=chance.choice([0, 0, 60_000, chance.randrange(3_600_000)]))
            if at.date() != day:
                break
        if works and chance.random() < 0.05 and at.date() == day and at.hour < 22:
            start = dt.datetime(day.year, day.month, day.day, 22, 40, tzinfo=ZONE)
            end = start + dt.timedelta(milliseconds=chance.randrange(5_000_000, 9_000_000))
            entries.append((task_of(chance.choice(KINDS), day), start, end))
        day += dt.timedelta(days=1)
    entries.append((ids[("Coding the auth flow", None)], NOW - dt.timedelta(minutes=40), None))
    return tasks, entries


TASKS, ENTRIES = make_log()
TITLE = {i: t for i, t, _ in TASKS}
PROJECT = {i: p for i, _, p in TASKS}


def ms(delta):
    return delta // dt.timedelta(milliseconds=1)


def midnight(day):
    return dt.datetime(day.year, day.month, day.day, tzinfo=ZONE).astimezone(dt.timezone.utc)


def stretches(name=None):
    """(task, start, end) of the entries of a task's title or a project's name; of all without one."""
    for task, start, end in ENTRIES:
        if name is None or name in (TITLE[task], PROJECT[task]):
            yield task, start.astimezone(dt.timezone.utc), (end or NOW).astimezone(dt.timezone.utc)


def inside(name, first, last):
    begin, finish = midnight(first), midnight(last + dt.timedelta(days=1))
    for task, start, end in stretches(name):
        if start < finish and end > begin:
            yield task, min(end, finish) - max(start, begin)


def total(name, first, last):
    return ms(sum((length for _, length in inside(name, first, last)), dt.timedelta()))


def sums(first, last, key, name=None):
    out = {}
    for task, length in inside(name, first, last):
        out[key[task]] = out.get(key[task], 0) + ms(length)
    out.pop(None, None)
    return out


def days_of(first, last):
    return [first + dt.timedelta(days=n) for n in range((last - first).days + 1)]


def words(milliseconds):
    seconds = milliseconds // 1000
    if seconds < 60:
        return f"{seconds} s"
    minutes = seconds // 60
    return f"{minutes} min" if minutes < 60 else f"{minutes // 60} h {minutes % 60:02d} min"


def day_words(day):
    return f"{day.day} {day.strftime('%B')}"


def span(text):
    """"2026-10-01..2026-10-31", one day, or "all"."""
    if text == "all":
        return dt.date(2025, 1, 1), NOW.date()
    first, _, last = text.partition("..")
    return dt.date.fromisoformat(first), dt.date.fromisoformat(last or first)


def figure(kind, arguments):
    """(milliseconds, texts) for what a question asks."""
    name = arguments[0] if arguments and arguments[0] != "*" else None
    if kind == "refuse":
        return "refuse", []
    if kind == "now":
        return ms(NOW - ENTRIES[-1][1]), [TITLE[ENTRIES[-1][0]]]
    if kind in ("first", "last"):
        found = sorted((start, end) for _, start, end in stretches(name))[0 if kind == "first" else -1]
        return ms(found[1] - found[0]), [day_words(found[0].astimezone(ZONE).date())]
    first, last = span(arguments[1])
    if kind == "total":
        value = total(name, first, last)
        return value, [words(value)]
    if kind == "list":
        value = total(name, first, last)
        top = sorted(sums(first, last, TITLE, name).items(), key=lambda x: -x[1])[:3]
        return value, [words(value)] + [part for title, time in top for part in (title, words(time))]
    if kind in ("longest", "shortest"):
        by_day = {d: total(name, d, d) for d in days_of(first, last)}
        by_day = {d: t for d, t in by_day.items() if t}
        best = (max if kind == "longest" else min)(by_day, key=by_day.get)
        return by_day[best], [day_words(best), words(by_day[best])]
    if kind in ("top-project", "top-task", "least-project"):
        by = sums(first, last, PROJECT if "project" in kind else TITLE)
        best = (min if kind.startswith("least") else max)(by, key=by.get)
        return by[best], [best, words(by[best])]
    if kind in ("days", "average"):
        worked = sum(1 for d in days_of(first, last) if total(name, d, d))
        value = total(name, first, last)
        return value, [f"{worked} days"] if kind == "days" else [words(value // worked)]
    if kind == "tasks":
        return total(name, first, last), [f"{len({t for t, _ in inside(name, first, last)})} tasks"]
    if kind == "periods":
        a, b = total(name, first, last), total(name, *span(arguments[2]))
        return a + b, [words(a), words(b), words(abs(a - b)) + (" more" if a > b else " less")]
    if kind == "names":
        a, b = total(name, first, last), total(arguments[2], first, last)
        return a + b, [words(a), words(b)]
    if kind == "share":
        value = total(name, first, last)
        return value, [f"{round(100 * value / total(None, first, last))} %", words(value)]
    raise ValueError(kind)


def main():
    with open(os.path.join(HERE, "log.txt"), "w", encoding="utf-8") as out:
        for number, project in enumerate(PROJECTS):
            print("project", f"0A{number:06X}-0000-4000-8000-0000000000A1", project, sep="\t", file=out)
        for task, title, project in TASKS:
            print("task", task, title, project or "", sep="\t", file=out)
        for task, start, end in ENTRIES:
            print("entry", task, int(start.timestamp() * 1000 + 0.5), "" if end is None else
                  int(end.timestamp() * 1000 + 0.5), sep="\t", file=out)
    for name in ("held_out", "tuning"):
        path = os.path.join(HERE, f"questions_{name}.txt")
        if not os.path.exists(path):
            continue
        with open(path, encoding="utf-8") as questions, open(os.path.join(HERE, f"{name}.tsv"), "w",
                                                            encoding="utf-8") as out:
            for line in questions:
                if line.strip() and not line.startswith("#"):
                    question, asked = (part.strip() for part in line.rsplit("|", 1))
                    kind, *arguments = (part.strip() for part in asked.split(";"))
                    value, texts = figure(kind, arguments)
                    texts = texts if value else []
                    print(question, value, *texts, sep="\t", file=out)


if __name__ == "__main__":
    sys.exit(main())
