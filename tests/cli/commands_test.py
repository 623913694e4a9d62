"""What each command does, says and ends with."""

import json
import os
import stat
import subprocess
import unittest

from support import DONE, ENVIRONMENT, NOTHING, USAGE, Home


class Tracking(Home):
    def test_a_morning(self):
        self.assertIn("tolvik start TITLE", self.tolvik("status")[0])
        self.tolvik("stop", expect=NOTHING)
        self.tolvik("resume", expect=NOTHING)
        self.tolvik("undo", expect=NOTHING)

        first = self.json("start", "quarterly", "report")
        self.assertEqual(first["action"], "start")
        self.assertEqual(first["taskTitle"], "quarterly report")
        second = self.json("start", "--reason", "it burns", "Invoice to Acme")
        self.assertEqual(self.running_title(), "Invoice to Acme")
        self.assertEqual(self.json("switch", "QUARTERLY report")["taskId"], first["taskId"])
        self.tolvik("switch", "quarterly report", expect=NOTHING)
        self.assertEqual(self.json("stop")["action"], "stop")
        self.assertIsNone(self.json("status")["running"])
        self.assertEqual(self.json("resume")["taskId"], first["taskId"])
        self.assertEqual(self.json("done")["taskId"], first["taskId"])
        self.assertEqual(self.json("done", "invoice")["taskId"], second["taskId"])
        self.tolvik("done", expect=NOTHING)

        statuses = {task["title"]: task["status"] for task in self.collection("tasks")}
        self.assertEqual(statuses, {"quarterly report": "done", "Invoice to Acme": "done"})
        entries = self.collection("timeEntries")
        self.assertEqual(len(entries), 4)
        self.assertTrue(all(entry["endedAt"] and entry["durationMs"] >= 0 for entry in entries))
        logs = self.collection("switchLogs")
        self.assertEqual([log.get("reason") for log in logs], [None, "it burns", None, None])
        self.assertEqual({log["source"] for log in logs}, {"manual"})

    def test_undo_works_across_processes_and_once(self):
        task = self.json("start", "one")["taskId"]
        self.tolvik("start", "two")
        self.tolvik("delete", "one")
        self.assertEqual([t["title"] for t in self.collection("tasks")], ["two"])
        self.assertEqual(self.json("undo")["action"], "undo")
        self.tolvik("undo", expect=NOTHING)
        self.assertEqual([t["id"] for t in self.collection("tasks")][0], task)
        self.assertEqual(len(self.collection("timeEntries")), 2)

    def test_which_task_a_name_means(self):
        self.tolvik("start", "Report")
        self.tolvik("done")
        newer = self.json("start", "report")["taskId"]
        self.tolvik("start", "weekly report")
        self.tolvik("start", "review the weekly plan")
        # Exact before partial, open before done.
        self.assertEqual(self.json("switch", "report")["taskId"], newer)
        # A part that two open tasks have names neither.
        before = self.running_title()
        out, err = self.tolvik("switch", "weekly", expect=NOTHING)
        self.assertIn("weekly report", err)
        self.assertIn("review the weekly plan", err)
        several = self.json("switch", "weekly", expect=NOTHING)
        self.assertEqual({c["title"] for c in several["candidates"]}, {"weekly report", "review the weekly plan"})
        self.assertEqual(self.running_title(), before)
        # Nearly the same spelling, an id, and nothing like it.
        self.assertEqual(self.json("switch", "weekly reprot")["taskTitle"], "weekly report")
        self.assertEqual(self.json("switch", newer)["taskId"], newer)
        self.assertEqual(self.json("switch", "zebra", expect=NOTHING)["feedback"], "Couldn't find that task")

    def test_a_finished_task_is_reopened_by_a_switch(self):
        task = self.json("start", "slides")["taskId"]
        self.tolvik("done")
        self.assertEqual(self.json("switch", "slides")["taskId"], task)
        stored = self.collection("tasks")[0]
        self.assertEqual(stored["status"], "open")
        self.assertNotIn("completedAt", stored)

    def test_projects_and_edits(self):
        self.tolvik("start", "draft")
        self.tolvik("project", "list")
        acme = self.json("project", "add", "Acme", "Corp")["projectId"]
        self.assertEqual(self.json("edit", "draft", "--project", "acme", "--title", "final draft")["taskTitle"],
                         "final draft")
        self.assertEqual(self.collection("tasks")[0]["tagId"], acme)
        self.assertIn("[Acme Corp]", self.tolvik("status")[0])
        self.tolvik("project", "rename", "Acme Corp", "Brivio")
        self.assertEqual(self.json("tasks")[0]["project"], "Brivio")
        self.tolvik("edit", "final draft", "--no-project")
        self.assertIsNone(self.json("tasks")[0]["project"])
        self.tolvik("edit", "final draft", "--project", "brivio")
        self.tolvik("project", "delete", "Brivio")
        self.assertIsNone(self.json("tasks")[0]["project"])
        self.tolvik("project", "delete", "Brivio", expect=NOTHING)
        self.tolvik("edit", "final draft", expect=USAGE)
        self.tolvik("edit", "final draft", "--title", "  ", expect=USAGE)
        self.tolvik("project", "rename", "only one", expect=USAGE)

    def test_the_log_of_a_day(self):
        self.tolvik("start", "breakfast")
        self.tolvik("start", "日本語の仕事")
        day = self.json("log")
        self.assertEqual([entry["taskTitle"] for entry in day["entries"]], ["breakfast", "日本語の仕事"])
        self.assertEqual(day["totalMs"], sum(task["totalMs"] for task in day["tasks"]))
        self.assertTrue(day["entries"][1]["running"])
        self.assertEqual(self.json("log", "--day", day["day"])["entries"][0], day["entries"][0])
        self.assertEqual(self.json("log", "--day", "yesterday")["entries"], [])
        self.assertIn("No time tracked", self.tolvik("log", "--day", "3")[0])
        self.tolvik("log", "--day", "2026-02-30", expect=USAGE)

    def test_titles_cannot_steer_the_terminal(self):
        self.tolvik("start", "evil \x1b]0;title\x07 \u009b31m task")
        for command in ("status", "tasks", "log"):
            out, _ = self.tolvik(command)
            self.assertNotIn("\x1b", out)
            self.assertNotIn("\u009b", out)


class Sentences(Home):
    def test_say_does_what_is_said(self):
        keys = ["action", "taskId", "taskTitle", "reason", "confidence", "method", "transcript", "feedback"]
        started = self.json("say", "start the quarterly report")
        self.assertEqual(list(started), keys)
        self.assertEqual(started["action"], "start")
        self.assertEqual(self.json("say", "begin", "design", "review")["feedback"], "design review")
        self.assertEqual(self.json("say", "switch to quarterly report")["feedback"], "→ quarterly report")
        self.assertEqual({log["source"] for log in self.collection("switchLogs")}, {"voice"})
        self.assertEqual(self.tolvik("say", "stop")[0], "⏸ quarterly report\n")
        self.assertEqual(self.json("say", "stop", expect=NOTHING)["feedback"], "Nothing is running")
        self.assertEqual(self.json("say", "", expect=NOTHING)["action"], "none")
        # Signed out, what is not understood becomes a task.
        self.assertEqual(self.json("say", "lunch with the auditors")["action"], "start")

    def test_a_dry_run_changes_nothing(self):
        self.tolvik("start", "design review")
        before = self.tolvik("data", "get", "tolvik:tasks")
        self.assertEqual(self.json("say", "--dry-run", "done with design review")["feedback"], "✓ design review")
        self.assertEqual(self.tolvik("data", "get", "tolvik:tasks"), before)

    def test_parse_takes_its_candidates_from_a_file_or_the_log(self):
        tasks = os.path.join(self.home, "tasks.json")
        with open(tasks, "w", encoding="utf-8") as file:
            json.dump([{"id": "a", "title": "invoice", "position": 1, "isActive": True},
                       {"id": "b", "title": "weekly report", "position": 2, "isActive": False}], file)
        one = self.json("parse", "--tasks", tasks, "switch to task two")
        self.assertEqual(list(one), ["action", "taskId", "taskTitle", "reason", "confidence", "method"])
        self.assertEqual((one["action"], one["taskId"], one["method"], one["confidence"]),
                         ("switch", "b", "position", 0.95))
        self.assertEqual(self.json("parse", "--tasks", tasks, "")["action"], "stop")
        out, _ = self.tolvik("parse", "--tasks", tasks, "--stdin", text="switch to invoce\n\nall done\n")
        lines = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([line["action"] for line in lines], ["switch", "stop", "done"])
        self.assertEqual(lines[0]["taskId"], "a")
        self.assertFalse(os.path.exists(self.data), "parsing with a file of tasks must not make a log")
        self.tolvik("start", "garden")
        self.assertEqual(self.json("parse", "i'm done with the garden")["taskTitle"], "garden")
        self.assertEqual(self.running_title(), "garden")

    def test_parse_answers_each_line_as_it_comes(self):
        tasks = os.path.join(self.home, "tasks.json")
        with open(tasks, "w", encoding="utf-8") as file:
            file.write("[]")
        process = self.start("parse", "--tasks", tasks, "--stdin", stdin=subprocess.PIPE)
        for sentence, action in (("stop", "stop"), ("start it all", "start"), ("done", "done")):
            process.stdin.write(sentence + "\n")
            process.stdin.flush()
            self.assertEqual(json.loads(process.stdout.readline())["action"], action)
        process.communicate(timeout=20)

    def test_bad_candidates_are_refused_with_their_place(self):
        tasks = os.path.join(self.home, "tasks.json")
        for text, place in (('[{"id":"a","title":"x"},\n {"id":]', "line 2, column"), ("{}", "not a JSON array"),
                            ('[{"id":"a","title":"x"},{"id":"b"}]', "[1]: \"title\""),
                            ('[{"id":"a","title":"x","isActive":1}]', "[0]: \"isActive\""), ("", "line 1")):
            with open(tasks, "w", encoding="utf-8") as file:
                file.write(text)
            _, err = self.tolvik("parse", "--tasks", tasks, "stop", expect=USAGE)
            self.assertIn(place, err)
        self.tolvik("parse", "--tasks", tasks + ".none", "stop", expect=ENVIRONMENT)
        self.tolvik("parse", expect=USAGE)


class StoredValues(Home):
    def test_an_export_comes_back_by_import_and_the_old_log_is_kept(self):
        self.tolvik("start", "one")
        self.tolvik("project", "add", "p")
        file = os.path.join(self.home, "out.json")
        self.tolvik("data", "export", file)
        with open(file, encoding="utf-8") as stream:
            exported = json.load(stream)
        self.assertEqual(set(exported), {"tolvik:tasks", "tolvik:timeEntries", "tolvik:switchLogs", "tolvik:tags",
                                         "tolvik.dictionaries"})
        self.assertEqual(exported["tolvik:tasks"], self.collection("tasks"))
        self.tolvik("start", "two")
        keys = set(self.json("data", "keys"))
        # A path of the caller's folder must hold for whoever carries the import out.
        process = subprocess.run([os.environ["TOLVIK"], "data", "import", "out.json"], cwd=self.home,
                                 env=self.environment, capture_output=True, text=True, check=False)
        self.assertEqual(process.returncode, DONE, process.stderr)
        self.assertEqual([task["title"] for task in self.collection("tasks")], ["one"])
        aside = set(self.json("data", "keys")) - keys
        self.assertTrue(any("two" in self.tolvik("data", "get", key)[0] for key in aside), aside)
        # Through pipes.
        text, _ = self.tolvik("data", "export", "-")
        self.assertEqual(json.loads(text)["tolvik:tasks"], self.collection("tasks"))
        self.tolvik("data", "import", "-", text=text)
        # One JSON document, and names of files that are no text.
        self.assertEqual(json.loads(self.tolvik("data", "export", "-", "--json")[0]), json.loads(text))
        self.assertEqual(self.json("data", "export", os.fsencode(self.home) + b"/\xff")["bytes"], len(text.encode()))
        _, errors = self.tolvik("data", "import", "-", text="{}", expect=USAGE)
        self.assertTrue(errors.startswith("- was not imported"), errors)

    def test_everything_comes_into_a_fresh_machine(self):
        self.tolvik("project", "add", "Harbour")
        self.tolvik("project", "use", "Harbour")
        self.tolvik("vocabulary", "add", "Tampere", "--hint", "city")
        self.tolvik("vocabulary", "add", "checkout", "--project", "Harbour")
        self.tolvik("start", "Retry payments")
        self.tolvik("stop")
        everything, _ = self.tolvik("data", "export", "-")
        fresh = {"XDG_DATA_HOME": os.path.join(self.home, "fresh")}
        self.tolvik("data", "import", "-", text=everything, environment=fresh)
        self.assertEqual(self.tolvik("data", "export", "-", environment=fresh)[0], everything)
        self.assertIn("checkout", self.tolvik("vocabulary", "list", environment=fresh)[0])
        # What takes the place of something is told by its keys; a file from before there was a vocabulary keeps it.
        self.tolvik("vocabulary", "add", "Oulu")
        self.tolvik("data", "import", "-", text=everything)
        self.assertEqual(self.tolvik("data", "export", "-")[0], everything)
        self.assertTrue([key for key in self.json("data", "keys") if key.startswith("tolvik.dictionaries.before-import")])
        self.tolvik("data", "import", "-", text='{"tolvik:tasks":[]}')
        self.assertIn("Tampere", self.tolvik("vocabulary", "list")[0])
        self.tolvik("data", "import", "-", text='{"tolvik:tasks":[],"tolvik.dictionaries":[]}', expect=USAGE)

    def test_a_bad_import_changes_nothing(self):
        self.tolvik("start", "one")
        before = self.tolvik("data", "get", "tolvik:tasks")
        file = os.path.join(self.home, "bad.json")
        for text in ("", "[]", '{"tolvik:tasks": [{"id": 1}]}', '{"tolvik:tasks": {}}'):
            with open(file, "w", encoding="utf-8") as stream:
                stream.write(text)
            _, err = self.tolvik("data", "import", file, expect=USAGE)
            self.assertIn("bad.json", err)
        self.tolvik("data", "import", file + ".none", expect=ENVIRONMENT)
        self.assertEqual(self.tolvik("data", "get", "tolvik:tasks"), before)

    def test_values_by_key(self):
        self.tolvik("data", "get", "nonsense", expect=NOTHING)
        self.assertEqual(self.json("data", "keys"), [])
        self.tolvik("start", "one")
        self.assertIn("tolvik:tasks", self.json("data", "keys"))


class CommandLine(Home):
    def test_every_command_has_help_and_refuses_what_it_does_not_know(self):
        overview, _ = self.tolvik("--help")
        commands = ("start switch stop done resume undo status log tasks project edit delete say hear parse data "
                    "doctor").split()
        for command in commands:
            self.assertIn(f"tolvik {command}", overview)
            page, _ = self.tolvik(command, "--help")
            self.assertIn("--json", page)
            _, err = self.tolvik(command, "--nonsense", expect=USAGE)
            self.assertIn("--nonsense", err)
        self.assertFalse(os.path.exists(self.data))
        for line in (["start"], ["stop", "it"], ["log", "--day"], ["data"], ["data", "get"], ["project", "paint"],
                     ["hear"], ["log", "--day=x"], ["undo", "--json=1"]):
            self.tolvik(*line, expect=USAGE)
        self.assertIn("Did you mean \"switch\"?", self.tolvik("swithc", expect=USAGE)[1])
        self.assertEqual(json.loads(self.tolvik("nonsense", "--json", expect=USAGE)[0])["exitCode"], USAGE)

    def test_hear_says_what_it_lacks(self):
        recording = os.path.join(self.home, "speech.wav")
        with open(recording, "wb") as file:
            file.write(b"no sound")
        for path in (recording, recording + ".none"):
            report = self.json("hear", path, expect=ENVIRONMENT)
            self.assertTrue(report["error"])
        self.assertEqual(self.json("tasks"), [], "nothing heard, nothing done")

    def test_titles_that_look_like_options(self):
        self.tolvik("start", "--", "--json is great", "-x")
        self.assertEqual(self.running_title(), "--json is great -x")

    def test_the_data_folder_is_private(self):
        self.tolvik("start", "secret plans")
        self.assertEqual(stat.S_IMODE(os.stat(self.data).st_mode), 0o700)

    def test_an_output_that_takes_nothing_is_an_error(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            process = subprocess.run([os.environ["TOLVIK"], "tasks"], stdout=full, stderr=subprocess.DEVNULL,
                                     env=self.environment, check=False)
        self.assertEqual(process.returncode, ENVIRONMENT)

    def test_doctor_names_what_is_missing_and_what_to_do(self):
        report = self.json("doctor")
        states = {check["part"]: check["state"] for check in report["checks"]}
        self.assertEqual(set(states), {"log", "display", "chord", "microphone", "speech", "meaning", "secrets",
                                       "programs"})
        self.assertEqual(states["log"], "ok")
        for part in ("display", "chord", "microphone", "meaning"):
            self.assertEqual(states[part], "missing", part)
        for check in report["checks"]:
            if check["state"] != "ok":
                self.assertTrue(check["next"], check)
        self.assertIn("✗ display", self.tolvik("doctor")[0])

    def test_alone_it_starts_the_desktop_beside_itself_or_says_what_is_missing(self):
        folder = os.path.join(self.home, "bin")
        os.mkdir(folder)
        program = os.path.join(folder, "tolvik")
        with open(os.environ["TOLVIK"], "rb") as source, open(program, "wb") as target:
            target.write(source.read())
        os.chmod(program, 0o755)
        missing = subprocess.run([program], env=self.environment, capture_output=True, text=True, check=False)
        self.assertEqual(missing.returncode, ENVIRONMENT)
        self.assertIn("tolvik-desktop", missing.stderr)
        desktop = os.path.join(folder, "tolvik-desktop")
        with open(desktop, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\necho desktop\n")
        os.chmod(desktop, 0o755)
        started = subprocess.run([program], env=self.environment, capture_output=True, text=True, check=False)
        self.assertEqual((started.returncode, started.stdout), (DONE, "desktop\n"))


if __name__ == "__main__":
    unittest.main()
