"""Reports and exports from outside: sums, files, a spreadsheet program, a PDF reader and another time tracker."""

import csv
import io
import json
import os
import random
import re
import shutil
import signal
import subprocess
import time
import unittest
import uuid
from datetime import datetime, timedelta, timezone

from support import ENVIRONMENT, NOTHING, TOLVIK, USAGE, Home

HEADER = "date,project,task_title,task_status,start_time,end_time,duration_minutes"


def stamp(moment):
    return moment.astimezone(timezone.utc).strftime("%Y-%m-%dT%H:%M:%S.") + f"{moment.microsecond // 1000:03d}Z"


def needs(program, package):
    return unittest.skipUnless(shutil.which(program), f"SKIPPED: {program} is not installed (Debian: {package})")


class Reports(Home):
    def setUp(self):
        super().setUp()
        self.chance = random.Random(11)

    def new_id(self):
        return str(uuid.UUID(int=self.chance.getrandbits(128), version=4)).upper()

    def load(self, projects, tasks, entries):
        """Projects by name; tasks (title, project or None); entries (task's place, start, length)."""
        now = stamp(datetime.now(timezone.utc))
        tags = [{"id": self.new_id(), "name": name, "colorIndex": i, "createdAt": now, "updatedAt": now}
                for i, name in enumerate(projects)]
        records = []
        for i, (title, project) in enumerate(tasks):
            records.append({"id": self.new_id(), "title": title, "status": "open", "isActive": False, "createdAt": now,
                            "updatedAt": now, "sortOrder": i, "colorIndex": i % 12})
            if project is not None:
                records[-1]["tagId"] = tags[projects.index(project)]["id"]
        times = [{"id": self.new_id(), "taskId": records[task]["id"], "startedAt": stamp(start),
                  "endedAt": stamp(start + length), "durationMs": length // timedelta(milliseconds=1),
                  "createdAt": stamp(start)} for task, start, length in entries]
        path = os.path.join(self.home, "log.json")
        with open(path, "w", encoding="utf-8") as file:
            json.dump({"tolvik:tasks": records, "tolvik:tags": tags, "tolvik:timeEntries": times,
                       "tolvik:switchLogs": []}, file)
        self.tolvik("data", "import", path)

    def load_weeks(self, count=300):
        start = datetime.now(timezone.utc).replace(microsecond=0) - timedelta(days=50, hours=12)
        titles = [("write the plan", "Harbour"), ("=SUM(A1)", "@home"), ('the "big" one, really', None),
                  ("設計レビュー", "Harbour")]
        self.load(["Harbour", "@home"], titles,
                  [(i % 4, start + timedelta(hours=4 * i), timedelta(minutes=7 + i % 50, seconds=i % 60))
                   for i in range(count)])

    def file(self, name):
        return os.path.join(self.home, name)

    def exported(self, kind, *arguments):
        self.tolvik("export", f"--{kind}", self.file("out." + kind), *arguments)
        with open(self.file("out." + kind), "rb") as file:
            return file.read()


class Terminal(Reports):
    def test_a_report_adds_up_and_says_the_same_from_who_holds_the_log(self):
        self.load_weeks()
        for options in ([], ["--range", "quarter"], ["--range", "half"], ["--range", "year"],
                        ["--from", "40", "--to", "yesterday"], ["--from", "yesterday"], ["--project", "harbour"],
                        ["--no-project", "--range", "year"]):
            report = self.json("report", *options)
            total = report["totalMs"]
            self.assertGreater(total, 0, options)
            for part in ("buckets", "byTag", "byTask"):
                self.assertEqual(sum(row["totalMs"] for row in report[part]), total, (options, part))
            self.assertEqual(sum(row["percent"] for row in report["byTag"]), 100)
            rows = json.loads(self.exported("json", *options))
            self.assertEqual(sum(row["duration_ms"] for row in rows["entries"]), total, options)
            self.assertEqual(rows["entries_count"], report["entries"])
            self.assertEqual((rows["date_range"]["from"], rows["date_range"]["to"]), (report["from"], report["to"]))
        alone = self.json("report", "--range", "year"), self.exported("csv", "--range", "year")
        holder = self.hold()
        self.assertEqual((self.json("report", "--range", "year"), self.exported("csv", "--range", "year")), alone)
        self.end(holder)

    def test_the_page_for_a_terminal(self):
        self.load_weeks()
        out, _ = self.tolvik("report", "--range", "quarter", "--width", "60")
        for text in ("Weekly breakdown", "By project", "Harbour", "Untagged", "By task", "設計レビュー", "█"):
            self.assertIn(text, out)
        self.assertLessEqual(max(len(line) for line in out.splitlines()), 60)
        self.assertNotIn("\x1b", out)
        self.assertIn("Export capped at 1 year", self.tolvik("report", "--from", "2020-01-01")[0])
        self.assertIn("No entries in this range.", self.tolvik("report", "--from", "400", "--to", "390")[0])

    def test_what_cannot_be_asked(self):
        for wrong in (["report", "--range", "decade"], ["report", "--to", "today"], ["report", "--from", "someday"],
                      ["report", "--from", "2026-02-02", "--to", "2026-02-01"], ["report", "--range", "year", "--from",
                      "3"], ["report", "--project", "x", "--no-project"], ["export"], ["export", "--csv", "-", "--json",
                      "-"], ["export", "--csv"]):
            _, err = self.tolvik(*wrong, expect=USAGE)
            self.assertTrue(err.strip(), wrong)
        self.tolvik("report", "--project", "nothing", expect=NOTHING)
        self.tolvik("export", "--csv", self.file("x.csv"), "--project", "nothing", expect=NOTHING)
        self.assertFalse(os.path.exists(self.file("x.csv")))


class Files(Reports):
    def test_an_export_replaces_a_file_whole_or_not_at_all(self):
        self.load_weeks(3)
        target = self.file("keep.csv")
        with open(target, "w", encoding="utf-8") as file:
            file.write("old")
        os.chmod(target, 0o640)
        self.tolvik("export", "--csv", target, "--range", "year")
        with open(target, encoding="utf-8") as file:
            self.assertTrue(file.read().startswith(HEADER + "\n"))
        self.assertEqual(os.stat(target).st_mode & 0o777, 0o640)
        _, err = self.tolvik("export", "--csv", self.file("no/where.csv"), expect=ENVIRONMENT)
        self.assertIn("No such file", err)
        _, err = self.tolvik("export", "--json", "/dev/full", expect=ENVIRONMENT)
        self.assertIn("No space left", err)
        out, err = self.tolvik("export", "--csv", "-", "--range", "year")
        self.assertEqual(len(list(csv.reader(io.StringIO(out)))), 4)
        self.assertFalse(out.endswith("\n"))

    def test_an_empty_and_a_too_long_range(self):
        self.load_weeks(10)
        self.assertEqual(self.exported("csv", "--from", "400", "--to", "390").decode(), HEADER)
        out, err = self.tolvik("export", "--json", self.file("long.json"), "--from", "2000-01-01", "--to", "2003-12-31")
        self.assertIn("Export capped at 1 year", err)
        with open(self.file("long.json"), encoding="utf-8") as file:
            written = json.load(file)
        self.assertEqual(written["date_range"], {"from": "2002-12-31", "to": "2003-12-31"})
        self.assertEqual(written["entries"], [])

    @needs("ssconvert", "gnumeric")
    def test_a_spreadsheet_program_adds_the_minutes_up(self):
        self.load_weeks()
        text = self.exported("csv", "--range", "year").decode()
        rows = list(csv.DictReader(io.StringIO(text)))
        sheet = self.file("sheet.csv")
        subprocess.run(["ssconvert", "--import-type=Gnumeric_stf:stf_csvtab", "--set", "J1==SUM(G2:G60000)", "--recalc",
                        self.file("out.csv"), sheet],
                       check=True, capture_output=True, env={**self.environment, "LC_ALL": "C.UTF-8"})
        with open(sheet, encoding="utf-8", newline="") as file:
            cells = list(csv.reader(file))
        self.assertEqual(len(cells), len(rows) + 1)
        self.assertAlmostEqual(float(cells[0][9]), sum(float(row["duration_minutes"]) for row in rows), places=3)
        # What looks like a formula has stayed a text, and the text is the title.
        self.assertEqual([row[2] for row in cells[1:]], [row["task_title"].removeprefix("'") for row in rows])
        exact = self.json("report", "--range", "year")["totalMs"] / 60000
        self.assertAlmostEqual(float(cells[0][9]), exact, delta=0.05 * len(rows))

    def test_an_interrupted_export_leaves_nothing(self):
        if not os.path.exists(os.path.join(os.path.dirname(TOLVIK), "tolvik-pdf.so")):
            self.skipTest("SKIPPED: built without Cairo and Pango")
        start = datetime.now(timezone.utc).replace(microsecond=0) - timedelta(days=200)
        self.load([], [("much", None)], [(0, start + timedelta(minutes=14 * i), timedelta(minutes=5))
                                         for i in range(20_000)])
        process = self.start("export", "--pdf", self.file("cut.pdf"), "--range", "year")
        deadline = time.monotonic() + 30
        while not any(name.startswith("cut.pdf.") for name in os.listdir(self.home)) and time.monotonic() < deadline:
            time.sleep(0.005)
        process.send_signal(signal.SIGINT)
        _, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, NOTHING, err)
        self.assertIn("Cancelled", err)
        self.assertEqual([name for name in os.listdir(self.home) if name.startswith("cut.pdf")], [])


@unittest.skipUnless(os.path.exists(os.path.join(os.path.dirname(TOLVIK), "tolvik-pdf.so")),
                     "SKIPPED: built without Cairo and Pango")
class Pages(Reports):
    TITLES = ["Żółć – naïve façade, Größe", "設計レビューと見積もり", "회의 준비 및 검토", "发票审核",
              "Обзор квартального отчёта", "בדיקת הדוח הרבעוני", "مراجعة التقرير الشهري", "Launch 🚀 party"]

    @needs("pdftotext", "poppler-utils")
    def test_every_script_can_be_read_back(self):
        start = datetime.now(timezone.utc).replace(microsecond=0) - timedelta(days=3)
        self.load(["Projekt Zürich"], [(title, "Projekt Zürich") for title in self.TITLES],
                  [(i, start + timedelta(hours=i), timedelta(minutes=90)) for i in range(len(self.TITLES))])
        self.exported("pdf")
        text = subprocess.run(["pdftotext", "-layout", self.file("out.pdf"), "-"], check=True, capture_output=True,
                              text=True).stdout
        # Marks of direction are not part of a title, and how wide a gap is is the reader's guess.
        plain = re.sub(r" +", " ", re.sub(r"[\u200e\u200f\u202a-\u202e]", "", text))
        for title in self.TITLES:
            self.assertIn(title, plain)
        for part in ("Time tracking export", "DATE", "12:00:00 total · 8 entries · 8 tasks", "Page 1"):
            self.assertIn(part, text)
        self.assertRegex(text, r"Total +12:00:00")
        fonts = subprocess.run(["pdffonts", self.file("out.pdf")], check=True, capture_output=True, text=True).stdout
        for line in fonts.splitlines()[2:]:
            # What stands for coloured signs is drawn here and has no font to be a part of.
            part = "no" if " Type 3 " in line else "yes"
            self.assertRegex(line, rf" yes +{part} +yes +\d+ +\d+$", "embedded, a subset, with its signs' meaning")
        self.assertGreaterEqual(len(fonts.splitlines()), 5)
        # Coloured signs are pictures.
        images = subprocess.run(["pdfimages", "-list", self.file("out.pdf")], check=True, capture_output=True,
                                text=True).stdout
        self.assertGreaterEqual(len(images.splitlines()), 3)

    def test_only_who_draws_loads_what_draws(self):
        def libraries(*arguments):
            process = subprocess.run([TOLVIK, *arguments], env={**self.environment, "LD_DEBUG": "files"},
                                     capture_output=True, text=True, errors="replace", check=False)
            return process.stderr
        self.load_weeks(3)
        target = self.file("a.pdf")
        self.assertIn("cairo", libraries("export", "--pdf", target))
        for command in (["status"], ["report", "--range", "year"], ["export", "--csv", self.file("a.csv")]):
            loaded = libraries(*command)
            self.assertIn("libstdc++", loaded)
            for name in ("cairo", "pango", "fontconfig"):
                self.assertNotIn(name, loaded, command)


@needs("timew", "timewarrior")
class Differential(Reports):
    """The other program knows no range kinds, and cuts intervals at a range's ends: those that touch them are avoided."""

    def test_totals_are_those_of_another_program(self):
        database = self.file("timew")
        os.makedirs(os.path.join(database, "data"))
        with open(os.path.join(database, "timewarrior.cfg"), "w", encoding="utf-8"):
            pass
        environment = {**self.environment, "TIMEWARRIORDB": database}
        start = datetime(2026, 1, 5, 6, 0, tzinfo=timezone.utc)
        tasks = [(f"task{i}", None) for i in range(6)]
        entries, at = [], start
        while at < datetime(2026, 11, 1, tzinfo=timezone.utc):
            length = timedelta(seconds=self.chance.randrange(1, 5 * 3600))
            entries.append((self.chance.randrange(len(tasks)), at, length))
            at += length + timedelta(seconds=self.chance.randrange(0, 9 * 3600))
        self.load([], tasks, entries)
        months = {}
        for task, begin, length in entries:
            line = f"inc {begin:%Y%m%dT%H%M%SZ} - {begin + length:%Y%m%dT%H%M%SZ} # task{task}\n"
            months.setdefault(f"{begin:%Y-%m}", []).append(line)
        for month, lines in months.items():
            with open(os.path.join(database, "data", month + ".data"), "w", encoding="utf-8") as file:
                file.writelines(lines)
        with open(os.path.join(database, "data", "tags.data"), "w", encoding="utf-8") as file:
            json.dump({title: {"count": 1} for title, _ in tasks}, file)

        from zoneinfo import ZoneInfo
        helsinki = ZoneInfo("Europe/Helsinki")

        def is_free(day):
            midnight = datetime(day.year, day.month, day.day, tzinfo=helsinki)
            return not any(begin < midnight < begin + length for _, begin, length in entries)

        days = [d for d in (datetime(2026, 1, 6) + timedelta(days=i) for i in range(295)) if is_free(d)]
        compared = 0
        for _ in range(25):
            first, end = sorted(self.chance.sample(days, 2))
            report = self.json("report", "--from", f"{first:%Y-%m-%d}", "--to", f"{end - timedelta(days=1):%Y-%m-%d}")
            mine = {row["title"]: row["totalMs"] // 1000 for row in report["byTask"]}
            theirs = {}
            for title, _ in tasks:
                done = subprocess.run(["timew", "summary", f"{first:%Y-%m-%d}", "-", f"{end:%Y-%m-%d}", title],
                                      env=environment, capture_output=True, text=True, check=True,
                                      stdin=subprocess.DEVNULL)
                found = re.findall(r"(\d+):(\d\d):(\d\d)", done.stdout)
                h, m, s = map(int, found[-1]) if found else (0, 0, 0)
                if h + m + s > 0:
                    theirs[title] = h * 3600 + m * 60 + s
            self.assertEqual(mine, theirs, (first, end))
            compared += len(theirs)
        self.assertGreater(compared, 50)


if __name__ == "__main__":
    unittest.main()
