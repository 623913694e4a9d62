"""The vocabulary and the current project from the command line."""

import json
import os
import unittest

from support import ENVIRONMENT, NOTHING, USAGE, Home


class Vocabulary(Home):
    def file(self, text):
        path = os.path.join(self.home, "terms.txt")
        with open(path, "w", encoding="utf-8") as out:
            out.write(text)
        return path

    def terms(self, *options):
        return [(t["term"], t["hint"], t["projectName"]) for t in self.json("vocabulary", "list", *options)]

    def stored(self, key):
        return json.loads(self.tolvik("data", "get", key)[0])

    def test_terms_are_added_changed_and_deleted(self):
        self.assertIn("vocabulary add", self.tolvik("vocabulary", "list")[0])
        self.tolvik("project", "add", "Harbour works")
        self.json("vocabulary", "add", "Ines", "Kallio", "--hint", "client lead")
        self.assertEqual(self.json("vocabulary", "add", "webhook", "--project", "harbour")["hint"], "")
        self.tolvik("vocabulary", "add", "ines kallio", expect=NOTHING)
        self.tolvik("vocabulary", "add", "Ines Kallio", "--project", "harbour")
        self.assertEqual(self.terms(), [("Ines Kallio", "client lead", None), ("webhook", "", "Harbour works"),
                                        ("Ines Kallio", "", "Harbour works")])
        self.assertEqual(len(self.terms("--project", "harbour")), 2)

        self.tolvik("vocabulary", "edit", "webhook", "--term", "web hook", expect=NOTHING)
        changed = self.json("vocabulary", "edit", "WEBHOOK", "--project", "harbour", "--hint", "callback")
        self.assertEqual((changed["action"], changed["term"], changed["hint"]), ("edit", "webhook", "callback"))
        self.tolvik("vocabulary", "edit", changed["id"], "--hint", "callback", expect=NOTHING)
        self.tolvik("vocabulary", "edit", changed["id"], "--term", "ines kallio", expect=NOTHING)
        self.tolvik("vocabulary", "delete", "Ines Kallio")
        self.tolvik("vocabulary", "delete", "Ines Kallio", expect=NOTHING)
        self.assertEqual(self.terms(), [("webhook", "callback", "Harbour works"), ("Ines Kallio", "", "Harbour works")])
        for wrong in (["edit", "webhook"], ["add"], ["add", " "], ["import"], ["list", "all"], ["rename", "x"]):
            self.tolvik("vocabulary", *wrong, expect=USAGE)
        self.tolvik("vocabulary", "list", "--project", "nowhere", expect=NOTHING)

    def test_the_current_project_gives_its_terms_to_dictation(self):
        self.tolvik("project", "add", "Harbour")
        self.tolvik("vocabulary", "add", "checkout", "--project", "Harbour")
        self.tolvik("vocabulary", "add", "Tamsin")
        self.assertEqual(self.json("speech-words")["terms"], ["Tamsin"])
        self.assertEqual(self.json("project", "use", "harbour")["projectName"], "Harbour")
        self.assertEqual(self.json("speech-words")["terms"], ["Tamsin", "checkout"])
        self.tolvik("start", "Retry payments")
        tags = {t["id"]: t["name"] for t in self.collection("tags")}
        self.assertEqual(tags[self.collection("tasks")[0]["tagId"]], "Harbour")
        self.assertIn("Harbour", self.tolvik("project", "use")[0])
        self.assertIsNone(self.json("project", "use", "none")["projectId"])
        self.tolvik("project", "use", "nowhere", expect=NOTHING)

    def test_an_import_of_a_file(self):
        path = self.file("Tamsin (team member)\n\nTurku\nTAMSIN\n")
        self.assertEqual(self.json("vocabulary", "import", path), {"action": "import", "imported": 2,
                                                                   "alreadyThere": ["TAMSIN"]})
        self.assertIn("Imported 0 entries", self.tolvik("vocabulary", "import", path, expect=NOTHING)[0])
        self.assertIn("Imported 1 entry", self.tolvik("vocabulary", "import", "-", text='["Brivio"]')[0])
        _, told = self.tolvik("vocabulary", "import", self.file('[\n "a",\n "b"'), expect=USAGE)
        self.assertIn("line 3", told)
        self.assertEqual([t[0] for t in self.terms()], ["Tamsin", "Turku", "Brivio"])
        self.assertEqual(self.json("vocabulary", "import", self.file("[draft] names"), "--plain")["imported"], 1)
        self.tolvik("vocabulary", "import", os.path.join(self.home, "missing"), expect=ENVIRONMENT)
        with open(path, "ab") as file:
            file.write(b"\xfcmlaut\n")
        self.assertIn("no text in UTF-8", self.tolvik("vocabulary", "import", path, expect=USAGE)[1])

    def test_a_long_import_and_another_process_that_has_the_log(self):
        path = self.file("".join(f"Term{i} (number {i})\n" for i in range(10_000)))
        holder = self.hold()
        self.assertEqual(self.json("vocabulary", "import", path)["imported"], 10_000)
        self.end(holder)
        self.assertEqual(len(self.stored("tolvik.dictionaries")["entries"]), 10_000)


if __name__ == "__main__":
    unittest.main()
