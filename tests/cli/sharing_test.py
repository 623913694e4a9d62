"""Several processes and one log: nothing is lost, nobody waits for ever."""

import os
import signal
import socket
import subprocess
import threading
import time
import unittest

from support import DONE, ENVIRONMENT, NOTHING, Home


class Sharing(Home):
    def start_many(self, count, prefix):
        processes = [self.start("start", f"{prefix} {i}") for i in range(count)]
        for process in processes:
            _, err = process.communicate(timeout=120)
            self.assertEqual(process.returncode, DONE, err)

    def check_whole(self, count):
        tasks, entries, logs = (self.collection(name) for name in ("tasks", "timeEntries", "switchLogs"))
        self.assertEqual(len({task["title"] for task in tasks}), count)
        self.assertEqual((len(tasks), len(entries), len(logs)), (count, count, count))
        self.assertEqual(sum(task["isActive"] for task in tasks), 1)
        self.assertEqual(sum("endedAt" not in entry for entry in entries), 1)

    def test_fifty_commands_at_once_without_a_holder(self):
        self.start_many(50, "task")
        self.check_whole(50)

    def test_fifty_commands_at_once_with_a_holder_that_comes_and_goes(self):
        self.tolvik("start", "zero")
        stop = threading.Event()

        def come_and_go():
            while not stop.is_set():
                holder = self.hold()
                time.sleep(0.05)
                self.end(holder)

        thread = threading.Thread(target=come_and_go)
        thread.start()
        try:
            self.start_many(50, "task")
        finally:
            stop.set()
            thread.join()
        self.check_whole(51)

    def test_a_holder_serves_and_keeps_its_state(self):
        self.tolvik("start", "before")
        holder = self.hold()
        self.tolvik("start", "during")
        self.assertEqual(self.running_title(), "during")
        self.assertEqual(self.json("say", "stop")["feedback"], "⏸ during")
        checks = {check["part"]: check for check in self.json("doctor")["checks"]}
        self.assertIn(str(holder.pid), checks["log"]["detail"])
        # A command of another folder, and answers that are larger than a pipe.
        for i in range(40):
            self.tolvik("start", "x" * 400 + str(i))
        self.assertEqual(len(self.collection("tasks")), 42)
        self.end(holder)
        self.assertEqual(holder.returncode, 0)
        self.assertFalse(os.path.exists(os.path.join(self.data, "tolvik.sock")))
        self.assertEqual(len(self.collection("tasks")), 42)

    def test_alone_it_raises_the_window_that_is_there(self):
        holder = self.hold()
        self.assertEqual(self.tolvik(), ("", ""))
        self.assertEqual(holder.stdout.readline(), "raised\n")

    def test_after_a_killed_holder_the_next_command_opens_the_log(self):
        holder = self.hold()
        self.tolvik("start", "kept")
        self.end(holder, signal.SIGKILL)
        self.assertTrue(os.path.exists(os.path.join(self.data, "tolvik.sock")), "the killed one left its socket")
        self.assertEqual(self.running_title(), "kept")
        self.hold()
        self.assertEqual(self.running_title(), "kept")

    def test_a_killed_holder_in_a_storm_loses_nothing_that_was_answered(self):
        for round_ in range(4):
            holder = self.hold()
            processes = [self.start("start", f"{round_} {i}") for i in range(12)]
            time.sleep(0.02 * (round_ + 1))
            self.end(holder, signal.SIGKILL)
            for i, process in enumerate(processes):
                out, err = process.communicate(timeout=60)
                # Whoever was being served when it died cannot know, and says so.
                self.assertIn(process.returncode, (DONE, ENVIRONMENT), err)
                titles = [task["title"] for task in self.collection("tasks")]
                if process.returncode == DONE:
                    self.assertEqual(titles.count(f"{round_} {i}"), 1)
                else:
                    self.assertIn("tolvik status", err)
                    self.assertLessEqual(titles.count(f"{round_} {i}"), 1)

    def test_a_holder_that_neither_serves_nor_lets_go(self):
        holder = self.hold("--silent")
        _, err = self.tolvik("start", "x", expect=ENVIRONMENT)
        self.assertIn(str(holder.pid), err)
        self.assertEqual(self.json("status", expect=ENVIRONMENT)["exitCode"], ENVIRONMENT)
        # It lets go while a command waits.
        process = self.start("start", "patient")
        time.sleep(0.3)
        self.end(holder)
        process.communicate(timeout=30)
        self.assertEqual(process.returncode, DONE)
        self.assertEqual(self.running_title(), "patient")

    def test_silent_and_hostile_clients_do_not_keep_others_waiting(self):
        self.hold()
        path = os.path.join(self.data, "tolvik.sock")
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o600)
        clients = []
        for bytes_ in (b"", b"\x05\x00", b"\xff\xff\xff\x7f", b"\x02\x00\x00\x00{]", b"\x04\x00\x00\x00null",
                       b"\x10\x00\x00\x00" + b"[" * 16):
            client = socket.socket(socket.AF_UNIX)
            client.connect(path)
            client.sendall(bytes_)
            clients.append(client)
        self.tolvik("start", "served all the same")
        self.assertEqual(self.running_title(), "served all the same")
        for client in clients:
            client.close()

    def test_unknown_requests_are_refused(self):
        self.hold()
        # Only what the program itself would send is carried out.
        self.tolvik("nonsense", expect=2)
        self.tolvik("switch", "nothing like it", expect=NOTHING)

    def test_a_second_holder_gives_way(self):
        self.hold()
        second = subprocess.run([os.environ["TOLVIK_HOLDER"]], env=self.environment, capture_output=True, text=True,
                                timeout=60, check=False)
        self.assertEqual(second.returncode, 3)


if __name__ == "__main__":
    unittest.main()
