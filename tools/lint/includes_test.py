#!/usr/bin/env python3
"""The include linter on small trees that it must accept or refuse."""

import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import includes  # noqa: E402


def violations(files):
    with tempfile.TemporaryDirectory() as root:
        for path, text in files.items():
            full = os.path.join(root, path)
            os.makedirs(os.path.dirname(full), exist_ok=True)
            with open(full, "w", encoding="utf-8") as file:
                file.write(text)
        return includes.check(root)[0]


def quoted(path):
    return f'#include "{path}"\n'


class Includes(unittest.TestCase):
    headers = {
        "base/text.h": "",
        "core/app_store.h": quoted("base/text.h"),
        "core/value_store.h": "",
        "voice/parse/command.h": "",
        "voice/parse/parser.h": "",
        "app/shell/menu.h": "#include <QObject>\n",
    }

    def refused(self, path, include, said):
        found = violations({**self.headers, path: "// first line\n" + include})
        self.assertEqual(len(found), 1, found)
        self.assertTrue(found[0].startswith(f"{path}:2: "), found[0])
        self.assertIn(said, found[0])

    def accepted(self, path, include):
        self.assertEqual(violations({**self.headers, path: include}), [])

    def test_downward_includes_are_fine(self):
        self.accepted("voice/parse/matching.cpp", quoted("core/app_store.h") + quoted("base/text.h"))
        self.accepted("app/main.cpp", quoted("voice/parse/parser.h") + "#include <QtGui/QIcon>\n")

    def test_upward_and_sideward_includes_are_not(self):
        self.refused("base/clock.cpp", quoted("core/app_store.h"), "base/ may not include core/app_store.h")
        self.refused("voice/parse/matching.cpp", quoted("app/shell/menu.h"), "voice/parse/ may not include")
        self.refused("dictionary/words.cpp", quoted("voice/parse/command.h"), "dictionary/ may not include")

    def test_a_single_header_may_be_declared(self):
        self.accepted("voice/capture/session.cpp", quoted("voice/parse/command.h"))
        self.refused("voice/capture/session.cpp", quoted("voice/parse/parser.h"), "voice/capture/ may not include")

    def test_an_adapter_sees_its_port_alone(self):
        self.accepted("adapters/sqlite/store.cpp", quoted("core/value_store.h"))
        self.refused("adapters/sqlite/store.cpp", quoted("core/app_store.h"), "implements the value store")

    def test_qt_stays_in_the_desktop(self):
        for name in ("QString", "QtCore/qglobal.h", "QtQuick/QQuickWindow"):
            self.refused("core/records.cpp", f"#include <{name}>\n", "Qt")
        self.accepted("core/records.cpp", "#include <queue>\n")

    def test_tests_may_use_fakes(self):
        fakes = {"tests/fakes/fake_clock.h": ""}
        self.assertEqual(violations({**fakes, "core/store_test.cpp": quoted("tests/fakes/fake_clock.h")}), [])
        self.assertEqual(len(violations({**fakes, "core/store.cpp": quoted("tests/fakes/fake_clock.h")})), 1)

    def test_paths_are_written_from_the_root(self):
        self.refused("core/store.cpp", quoted("app_store.h"), "core/app_store.h")

    def test_a_cycle_is_named(self):
        ring = includes.cycles({"a": {"b": "a/x.h:1"}, "b": {"c": "b/x.h:1"}, "c": {"a": "c/x.h:1"}})
        self.assertEqual(len(ring), 1)
        self.assertIn("a -> b -> c -> a", ring[0])

    def test_a_folder_without_a_rule_is_named(self):
        found = violations({"adapters/telepathy/mind.cpp": ""})
        self.assertEqual(len(found), 1)
        self.assertIn("no rule covers this folder", found[0])


if __name__ == "__main__":
    unittest.main()
