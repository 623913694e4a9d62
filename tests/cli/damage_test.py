"""A log or a disk that is not as it should be: told plainly, and nothing is thrown away."""

import json
import os
import resource
import signal
import sqlite3
import subprocess
import unittest

from support import DONE, ENVIRONMENT, Home


class Damage(Home):
    def files(self):
        return {name: os.path.join(self.data, name) for name in os.listdir(self.data)}

    def test_a_file_that_is_no_database_is_kept_aside(self):
        self.tolvik("start", "lost")
        database = os.path.join(self.data, "tolvik.sqlite")
        for name, path in self.files().items():
            if name.startswith("tolvik.sqlite-"):
                os.remove(path)
        rubbish = b"this was a log once" * 1000
        with open(database, "wb") as file:
            file.write(rubbish)
        out, err = self.tolvik("start", "new")
        self.assertIn("new", out)
        self.assertIn("kept at", err)
        aside = [path for name, path in self.files().items() if "damaged" in name]
        self.assertEqual(len(aside), 1)
        with open(aside[0], "rb") as file:
            self.assertEqual(file.read(), rubbish)
        self.assertEqual(self.running_title(), "new")
        self.assertEqual(self.tolvik("status")[1], "", "told once")

    def test_a_value_that_does_not_decode_is_kept_aside_and_told_once(self):
        self.tolvik("start", "one")
        self.tolvik("start", "two")
        bytes_before, _ = self.tolvik("data", "get", "tolvik:tasks")
        database = sqlite3.connect(os.path.join(self.data, "tolvik.sqlite"))
        tables = [row[0] for row in database.execute("select name from sqlite_master where type='table'")]
        changed = 0
        for table in tables:
            columns = [row[1] for row in database.execute(f"pragma table_info({table})")]
            for column in columns:
                changed += database.execute(
                    f"update {table} set {column} = replace(cast({column} as text), '\"sortOrder\"', '\"sortOrdre\"') "
                    f"where cast({column} as text) like '%\"sortOrder\"%'").rowcount
        database.commit()
        database.close()
        self.assertGreater(changed, 0)
        _, first = self.tolvik("start", "three")
        self.assertIn("Note:", first)
        titles = [task["title"] for task in self.collection("tasks")]
        self.assertEqual(titles, ["three"])
        self.assertEqual(len(self.collection("timeEntries")), 3)
        aside = [key for key in self.json("data", "keys") if key.startswith("tolvik:tasks.")]
        self.assertEqual(len(aside), 1)
        kept, _ = self.tolvik("data", "get", aside[0])
        self.assertIn("sortOrdre", kept)
        self.assertIn(json.loads(bytes_before)[0]["id"], kept)
        self.assertEqual(self.tolvik("start", "four")[1], "", "told once")

    def test_a_home_that_cannot_be_written(self):
        blocked = os.path.join(self.home, "blocked")
        with open(blocked, "w", encoding="utf-8") as file:
            file.write("a file where a folder should be")
        out, err = self.tolvik("start", "x", expect=ENVIRONMENT, environment={"XDG_DATA_HOME": blocked})
        self.assertEqual(out, "")
        self.assertIn("XDG_DATA_HOME", err)
        self.tolvik("status", expect=ENVIRONMENT, environment={"XDG_DATA_HOME": blocked})

    def test_a_full_disk_is_not_called_done(self):
        self.tolvik("start", "before")
        before = self.tolvik("data", "get", "tolvik:tasks")

        def no_larger_files():
            # Stands in for a full disk: no file grows past this.
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (2048, 2048))

        process = subprocess.run([os.environ["TOLVIK"], "start", "after"], env=self.environment, capture_output=True,
                                 text=True, preexec_fn=no_larger_files, check=False)
        self.assertEqual(process.returncode, ENVIRONMENT, (process.stdout, process.stderr))
        self.assertIn("Nothing was saved", process.stderr)
        self.assertNotIn("after", process.stdout)
        self.assertEqual(self.tolvik("data", "get", "tolvik:tasks"), before)
        self.tolvik("start", "after", expect=DONE)


if __name__ == "__main__":
    unittest.main()
