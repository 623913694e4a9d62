#!/usr/bin/env python3
"""Checks who includes whom.

Each folder of code has one row in RULES: what it may include besides itself, and why. Every quoted include must be
covered by a row, Qt may be included only where a row says so, and no folder may reach itself through others.
Prints FILE:LINE: MESSAGE for each violation and ends with 1 when there is one.
"""

import os
import re
import sys
from dataclasses import dataclass


@dataclass(frozen=True)
class Rule:
    """What a folder may include: folders (with all below them) or single headers, and the reason for it."""

    may: tuple
    why: str
    qt: bool = False


FEATURE = ("base", "core")
# The longest matching folder decides. A name that ends in .h allows that header alone.
RULES = {
    "base": Rule((), "small values and services without a domain: whatever it includes, everything depends on"),
    "core": Rule(("base",), "the log knows nothing of voice, screen or disk technology"),
    "dictionary": Rule(FEATURE, "a feature stands on the log alone"),
    "backend": Rule(FEATURE, "what every request to the server shares: endpoint, session, sign-in"),
    "sync": Rule(
        FEATURE + ("backend", "dictionary"),
        "the queue and the pulls send requests as the signed-in user; what is pulled goes to the log and the vocabulary",
    ),
    "reports": Rule(FEATURE, "figures and exports come from the log alone"),
    "ai/answer": Rule(FEATURE + ("reports",), "answers are a function of log and question; device and server share it"),
    "ai": Rule(FEATURE + ("reports", "backend", "ai/answer"), "asks the server as the signed-in user, else the log"),
    "telemetry/crash": Rule(("base",), "the first thing to start and the last to end"),
    "telemetry": Rule(FEATURE + ("backend",), "events are sent as the signed-in user, once the user said yes"),
    "voice/parse": Rule(
        FEATURE + ("backend",), "understanding text needs the log and may ask the server, not the microphone"
    ),
    "voice/capture": Rule(
        FEATURE + ("backend", "voice/parse/command.h"),
        "a session hands on sound, perhaps to the server, and text, and gets an outcome back",
    ),
    "voice/hearing": Rule(
        FEATURE
        + ("voice/parse/phrase_tables.h", "voice/parse/local_voice_parser.h", "voice/parse/command.h")
        + ("voice/capture/speech_recognizer.h",),
        "what was heard is weighed against the words of commands and of the log",
    ),
    "adapters/sqlite": Rule(("base", "core/value_store.h"), "implements the value store"),
    "adapters/embedding": Rule(("base", "voice/parse/sentence_embedder.h"), "implements the sentence embedder"),
    "adapters/speech": Rule(
        ("base", "voice/capture/speech_recognizer.h", "voice/capture/audio_file_writer.h", "voice/hearing"),
        "implements the recogniser; weighing what the engine says is pure logic of voice/hearing",
    ),
    "adapters/x11": Rule(("base", "voice/capture/chord_monitor.h"), "implements the chord monitor"),
    "adapters/pulse": Rule(("base", "voice/capture/microphone.h"), "implements the microphone"),
    "adapters/mpris": Rule(("base", "voice/capture/media_players.h"), "implements the media players"),
    "adapters/audiofile": Rule(("base", "voice/capture/audio_file_writer.h"), "implements the recording file"),
    "adapters/system": Rule(("base",), "implements clock, zone, chance and workers"),
    "adapters/asio": Rule(("base",), "implements the main loop"),
    "adapters/socket": Rule(("base",), "carries requests; what they mean is the composition's"),
    "adapters/http": Rule(("base", "backend/http_client.h"), "implements the HTTP client"),
    "adapters/secrets": Rule(("base", "backend/secret_store.h"), "implements the secret store"),
    "adapters/pdf": Rule(
        ("base", "reports/pdf_writer.h", "reports/export_output.h"), "draws reports; what is printed comes as texts"
    ),
    "adapters/qt": Rule(("base",), "implements the main loop on Qt", qt=True),
    "adapters/desktop": Rule(
        ("base", "app/shell", "app/pill/pill_desktop.h"), "implements the shell's ports on D-Bus and files", qt=True
    ),
    "services": Rule(
        FEATURE + ("dictionary", "backend", "sync", "voice", "reports/pdf_writer.h")
        + tuple("adapters/" + name for name in ("sqlite", "system", "embedding", "socket")),
        "composes what the command line and the desktop share",
    ),
    "commands": Rule(
        FEATURE + ("dictionary", "backend", "sync", "voice/parse", "reports", "services", "ai", "telemetry"),
        "one request, one answer, whoever carries it"
    ),
    "cli": Rule(
        FEATURE + ("dictionary", "backend", "sync", "voice", "reports", "services", "commands", "adapters"),
        "a composition, without Qt",
    ),
    "server/storage": Rule(FEATURE, "what is kept and the statements for it; no database library"),
    "adapters/sqlite_server": Rule(
        ("base", "server/storage", "adapters/sqlite/statement.h"), "implements the server's storage on one file"
    ),
    "adapters/postgres": Rule(
        ("base", "server/storage", "server/api/message.h"),
        "implements the server's storage for many instances, which tell each other what handlers announce",
    ),
    "server/api": Rule(
        FEATURE + ("server/storage", "sync/pull_response.h", "voice/parse", "reports", "ai/answer"),
        "handlers are functions of request, storage, clock and chance; no network, no database library",
    ),
    "server": Rule(
        FEATURE + ("server", "sync/pull_response.h", "voice", "reports", "adapters"),
        "the server's composition: network, databases, mail",
    ),
    "app/shell": Rule(FEATURE + ("dictionary", "voice"), "the shell's logic and ports; Qt only for its types", qt=True),
    "app/models": Rule(
        FEATURE + ("ai", "backend", "dictionary", "reports", "voice", "telemetry", "services", "app/shell"),
        "shows the features to QML; no adapters",
        qt=True,
    ),
    "app/pill": Rule(FEATURE + ("voice", "app/shell", "app/models"), "the pill's window; the display is a port", qt=True),
    "app": Rule(
        FEATURE
        + ("ai", "dictionary", "backend", "sync", "voice", "telemetry", "services", "commands", "adapters", "app", "ui"),
        "the desktop composition: the only place that joins everything",
        qt=True,
    ),
    "ui": Rule(("base", "app"), "QML and what it needs of C++", qt=True),
    "bench": Rule(("",), "measures whatever there is"),
    "tests": Rule(("",), "tests and fakes see everything", qt=True),
}
# Tests beside the code may use the fakes and the real adapters of the rule's own layer.
TEST_EXTRA = ("tests",)
SOURCE = re.compile(r"\.(h|hpp|cpp|cc)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
QT = re.compile(r"^(Q[A-Z]\w*|Qt\w*)(/|$)|^qt?[a-z]+/.*qpa|^q[a-z]+\.h$")


def rule_for(path):
    folder = os.path.dirname(path)
    while folder:
        if folder in RULES:
            return folder, RULES[folder]
        folder = os.path.dirname(folder)
    return None, None


def covers(allowed, target):
    if allowed.endswith(".h"):
        return target == allowed
    return allowed == "" or target == allowed or target.startswith(allowed + "/")


def is_test(path):
    return re.search(r"_(test|bench|fuzz)\.cpp$", path) is not None or "/fakes/" in path


def sources(root):
    for top in sorted({folder.split("/")[0] for folder in RULES}):
        for folder, _, files in os.walk(os.path.join(root, top)):
            for name in sorted(files):
                if SOURCE.search(name):
                    yield os.path.relpath(os.path.join(folder, name), root)


def check(root):
    """Returns the violations, and how many files were looked at."""
    problems = []
    graph = {}
    count = 0
    for path in sources(root):
        count += 1
        owner, rule = rule_for(path)
        if rule is None:
            problems.append(f"{path}:1: no rule covers this folder; give it a row in tools/lint/includes.py")
            continue
        with open(os.path.join(root, path), encoding="utf-8", errors="replace") as file:
            lines = file.readlines()
        for number, line in enumerate(lines, 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            kind, target = match.groups()
            where = f"{path}:{number}"
            if QT.match(target) and not os.path.exists(os.path.join(root, target)) and not rule.qt:
                problems.append(f"{where}: Qt ({target}) in {owner}/: only app/, ui/ and the Qt adapters know Qt")
            if kind != '"' or not os.path.exists(os.path.join(root, target)):
                # A generated header or a library's own; a quoted path of ours that does not exist will not compile.
                beside = os.path.join(os.path.dirname(path), target)
                if kind == '"' and os.path.exists(os.path.join(root, beside)):
                    problems.append(f'{where}: write the path from the root: "{beside}"')
                continue
            if target.startswith(owner + "/"):
                continue
            test = is_test(path)
            allowed = rule.may + (TEST_EXTRA if test else ())
            if test and owner.startswith("adapters/"):
                allowed += ("adapters/system", "adapters/asio")
            if not any(covers(one, target) for one in allowed):
                problems.append(
                    f"{where}: {owner}/ may not include {target} "
                    f"(may: {', '.join(rule.may) or 'nothing of ours'}; {rule.why})"
                )
            elif not test:
                other, _ = rule_for(target)
                if other and other != owner:
                    graph.setdefault(owner, {}).setdefault(other, where)
    problems += cycles(graph)
    return problems, count


def cycles(graph):
    """One message for each way in which a folder reaches itself."""
    found = []
    seen = set()

    def walk(node, trail):
        for other, where in sorted(graph.get(node, {}).items()):
            if other in trail:
                ring = trail[trail.index(other):] + [other]
                key = frozenset(ring)
                if key not in seen:
                    seen.add(key)
                    found.append(f"{where}: cycle {' -> '.join(ring)}")
            else:
                walk(other, trail + [other])

    for start in sorted(graph):
        walk(start, [start])
    return found


def main():
    root = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", ".."))
    problems, count = check(root)
    if count == 0:
        problems.append(f"{root}: no sources found")
    for problem in problems:
        print(problem)
    print(f"includes: {count} files, {len(problems)} violations", file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
