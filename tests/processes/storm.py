#!/usr/bin/env python3
"""Real devices and real servers under kill -9 and a network that is cut, until everything must be equal again.

    storm.py --programs BIN [--seconds 10] [--seed N] [--database sqlite|postgres] [--servers 1|2] [--desktops DISPLAY]

The devices are command lines, or desktops on an X display that are commanded by their command lines. Each gives
commands all the time and is killed in the middle of some; the servers are killed; each device's network has faults of
its own. Then all is quiet, and both devices and the server must hold the same log, with every change that was
acknowledged: by a command that said so, or by the server to requests sent straight to it. The seed decides what is
tried and when; what comes of it depends on the machine.
"""

import argparse
import collections
import json
import pathlib
import random
import shutil
import sys
import tempfile
import threading
import time
import uuid

import facts as truth
from network import Loop, Network
from stage import Device, Direct, Postgres, Server, end

ADDRESS = "storm@tolvik.example"
# Longer than any command of the log takes; the chance decides where inside it the knife falls.
LONGEST_LIFE = 0.12


class Person:
    """Gives one device commands until the storm is over, some of which are killed."""

    WISHES = {"start": 30, "switch": 16, "done": 10, "stop": 5, "edit": 10, "delete": 5, "undo": 4, "project": 5,
              "move": 5, "vocabulary": 3, "sync": 14}

    def __init__(self, name, device, facts, seed):
        self.name, self.device, self.facts = name, device, facts
        self.chance = random.Random(f"{seed} {name}")
        self.counts = collections.Counter()
        self.number = 0
        # What an undo may take back.
        self.last = set()
        self.projects = []

    def live(self, is_over):
        while not is_over.is_set():
            wish = self.chance.choices(list(self.WISHES), list(self.WISHES.values()))[0]
            getattr(self, "do_" + wish)()

    def give(self, *words):
        """The answer's JSON when the command was carried out, None when it was killed or failed; and which it was."""
        self.counts["commands"] += 1
        process = self.device.start(*words, "--json")
        if self.chance.random() < 0.3:
            time.sleep(self.chance.uniform(0, LONGEST_LIFE))
            if process.poll() is None:
                process.kill()
                self.counts["commands killed"] += 1
        out, _ = process.communicate(timeout=90)
        if process.returncode == 0:
            return truth_of(out), True
        return None, process.returncode < 0 or process.returncode == 3

    def one(self):
        ids = self.facts.known()
        return self.chance.choice(ids[-20:]) if ids else None

    def change(self, words, id, **fields):
        """A command about one task: what was acknowledged, or what is unknown from now on."""
        answer, maybe = self.give(*words)
        if answer:
            self.facts.changed(id, self.name, True, **fields)
            self.last = {id}
        elif maybe:
            self.facts.changed(id, self.name, False, **fields)
            self.last.add(id)

    def do_start(self):
        self.number += 1
        title = f"{self.name} {self.number} {self.chance.choice(['reads', 'writes', 'calls', 'plans'])}"
        answer, maybe = self.give("start", title)
        if answer:
            self.facts.started(answer["taskId"], title, self.name)
            self.last = {answer["taskId"]}
        else:
            self.facts.unanswered += maybe

    def do_switch(self):
        if id := self.one():
            self.change(["switch", id], id, status="open")

    def do_done(self):
        if id := self.one():
            self.change(["done", id], id, status="done")

    def do_edit(self):
        if id := self.one():
            self.number += 1
            title = f"{self.name} {self.number} renamed"
            self.change(["edit", id, "--title", title], id, title=title)

    def do_delete(self):
        if id := self.one():
            self.change(["delete", id], id, alive=False)

    def do_stop(self):
        self.give("stop")
        self.last = set(self.last)

    def do_undo(self):
        self.facts.doubted(self.last)
        self.give("undo")
        self.last = set()

    def do_project(self):
        if self.projects and self.chance.random() < 0.4:
            self.give("project", "delete", self.projects.pop(0))
            return
        self.number += 1
        name = f"Project {self.name}{self.number}"
        if self.give("project", "add", name)[0]:
            self.projects.append(name)

    def do_move(self):
        if self.projects and (id := self.one()):
            self.change(["edit", id, "--project", self.chance.choice(self.projects)], id)

    def do_vocabulary(self):
        self.number += 1
        self.give("vocabulary", "add", f"Term{self.name}{self.number}")

    def do_sync(self):
        self.give("sync")


def truth_of(out):
    try:
        return json.loads(out.splitlines()[0])
    except (IndexError, ValueError):
        return {}


class Intruder:
    """A third device without a log: what the server said 200 to must be there, whatever was killed right after."""

    def __init__(self, server, chance):
        self.direct, self.chance = Direct(server, ADDRESS), chance
        self.taken = {}
        self.refused = 0

    def live(self, is_over):
        while not is_over.wait(self.chance.uniform(0.01, 0.2)):
            now = time.strftime("%Y-%m-%dT%H:%M:%S.000Z", time.gmtime())
            id, operation = str(uuid.uuid4()).upper(), str(uuid.uuid4()).upper()
            body = {"id": id, "title": "Told to the server", "status": "open", "isActive": False, "createdAt": now,
                    "updatedAt": now, "completedAt": None, "sortOrder": 0, "colorIndex": 0, "previousTaskId": None,
                    "tagId": None}
            for _ in range(self.chance.choice([1, 1, 2])):
                try:
                    self.direct.ask("POST", "/tasks", body, operation)
                    self.taken[id] = True
                except OSError:
                    self.refused += 1


class Storm:
    def __init__(self, options, folder):
        self.options, self.chance = options, random.Random(f"{options.seed} storm")
        self.counts, self.lost = collections.Counter(), []
        self.facts = truth.Facts()
        self.postgres = Postgres() if options.database == "postgres" else None
        database = ["--database", self.postgres.url] if self.postgres else []
        self.servers = [Server(options.programs, f"{folder}/server0", *database)]
        for number in range(1, options.servers):
            # One certificate for all, as a balancer in front of them would have.
            pathlib.Path(f"{folder}/server{number}").mkdir(mode=0o700)
            for name in ("authority.pem", "server.pem", "server.key"):
                shutil.copy(f"{folder}/server0/{name}", f"{folder}/server{number}/{name}")
            self.servers.append(Server(options.programs, f"{folder}/server{number}", *database))
        loop = Loop()
        self.networks, self.devices, self.people = [], [], []
        for number, name in enumerate("AB"):
            server = self.servers[number % len(self.servers)]
            network = Network(loop, server.port, f"{options.seed} {name}")
            device = Device(options.programs, f"{folder}/{name}", network.port, server.authority, options.desktops)
            if options.desktops:
                device.start_desktop()
            device.sign_in(server, ADDRESS)
            self.networks.append(network)
            self.devices.append(device)
            self.people.append(Person(name, device, self.facts, options.seed))
        self.intruder = Intruder(self.servers[-1], random.Random(f"{options.seed} intruder"))

    def blow(self):
        over = threading.Event()
        living = [threading.Thread(target=one.live, args=[over], daemon=True) for one in [*self.people, self.intruder]]
        for thread in living:
            thread.start()
        end_at = time.monotonic() + self.options.seconds
        while time.monotonic() < end_at:
            time.sleep(self.chance.uniform(0.05, 0.6))
            self.strike()
        over.set()
        for network in self.networks:
            network.mode = "open"
            network.cut()
        for thread in living:
            thread.join(120)
            if thread.is_alive():
                raise RuntimeError("a command hangs")

    def tamper(self):
        """Changes behind the facts' back what one device alone was told; the lines that the check must then give."""
        sure = []
        while len(sure) < 2:
            self.people[0].do_start()
            sure = [(id, task) for id, task in self.facts.tasks.items()
                    if task.alive and len(task.devices) == 1 and task.title is not None and task.status == "open"]
        out = []
        for (id, task), words, name in zip(sure, [["edit", "--title", "Nobody said this"], ["done"]], ["title", "status"]):
            person = next(one for one in self.people if one.name in task.devices)
            code, answer = person.device.json(words[0], id, *words[1:])
            if code != 0:
                raise RuntimeError(f"could not be tampered with: {answer}")
            out.append(f"{id}: {name} is ")
        return out

    def strike(self):
        self.counts["rounds"] += 1
        kind = self.chance.choices(["server", "network", "cut", "desktop"], [4, 6, 3, 3])[0]
        if kind == "server":
            server = self.chance.choice(self.servers)
            told = set(self.intruder.taken)
            server.kill()
            time.sleep(self.chance.choice([0, 0, 0.1, 0.8]))
            server.start()
            # Devices come out at any of the servers.
            for network in self.networks:
                network.target = self.chance.choice(self.servers).port
            # At once: devices send again what they see that the server has lost.
            here = {task["id"] for task in self.direct_pull()["tasks"]}
            self.lost += [f"{id} was taken by the server and lost when it was killed" for id in told - here]
        elif kind == "desktop" and self.options.desktops:
            device = self.chance.choice(self.devices)
            end(device.desktop)
            time.sleep(self.chance.choice([0, 0.2]))
            device.start_desktop()
            self.counts["desktops killed"] += 1
        elif kind == "network":
            network = self.chance.choice(self.networks)
            network.mode = self.chance.choice(network.MODES)
            self.counts[f"network {network.mode}"] += 1
            time.sleep(self.chance.uniform(0.1, 2))
            network.heal()
        else:
            self.chance.choice(self.networks).cut()
            self.counts["connections cut"] += 1

    def settle(self):
        """Sends and fetches until nobody has anything to tell; what is wrong in the end, as lines."""
        end_at = time.monotonic() + 90
        while True:
            answers = [device.json("sync") for device in self.devices]
            logs = [truth.shape(device.export()) for device in self.devices]
            server = self.direct_pull()
            wrong = [f"{person.name}: sync says {answer}" for person, (code, answer) in zip(self.people, answers)
                     if code != 0 or answer["pending"]]
            for person, log in zip(self.people, logs):
                wrong += truth.differences(log, truth.shape(server), (person.name, "server"))
            if not wrong or time.monotonic() > end_at:
                break
        wrong += self.lost
        names = [person.name for person in self.people]
        self.sizes = {kind: len(records) for kind, records in logs[0].items()}
        for name, log in zip([*names, "server"], [*(device.export() for device in self.devices), server]):
            lines, self.checked = self.facts.missing(log)
            wrong += [f"{name}: {line}" for line in lines + truth.broken(log)]
            here = {task["id"] for task in log["tasks"]}
            wrong += [f"{name}: {id} was taken by the server and is missing"
                      for id in self.intruder.taken if id not in here]
        return wrong

    def direct_pull(self):
        return self.intruder.direct.ask("GET", "/sync/pull")

    def summary(self):
        counts = sum((person.counts for person in self.people), self.counts)
        counts["servers killed"] = sum(server.kills for server in self.servers)
        counts["acknowledged changes"] = self.facts.acknowledged
        counts["without an answer"] = self.facts.unanswered
        counts["taken by the server directly"] = len(self.intruder.taken)
        return ", ".join(f"{value} {name}" for name, value in sorted(counts.items()))

    def close(self):
        for device in self.devices:
            device.close()
        codes = [server.close() for server in self.servers]
        if self.postgres:
            self.postgres.close()
        return [f"the server ended with {code}" for code in codes if code != 0]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--programs", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=float, default=10)
    parser.add_argument("--seed", default=str(random.randrange(1_000_000)))
    parser.add_argument("--database", choices=["sqlite", "postgres"], default="sqlite")
    parser.add_argument("--servers", type=int, choices=[1, 2], default=1)
    parser.add_argument("--desktops", metavar="DISPLAY", help="such as :99")
    parser.add_argument("--tamper", action="store_true",
                        help="change two tasks unseen at the end; succeeds when the check names both")
    parser.add_argument("--keep", action="store_true", help="leave the folders")
    options = parser.parse_args()
    if options.servers == 2 and options.database == "sqlite":
        parser.error("two servers need PostgreSQL")
    if options.database == "postgres" and not Postgres.installed():
        print("PostgreSQL is not installed")
        return 77
    options.programs = options.programs.resolve()
    folder = tempfile.mkdtemp(prefix="tvk", dir="/tmp")
    print(f"seed {options.seed}, {options.database}, {options.servers} server(s)", flush=True)
    storm = Storm(options, folder)
    try:
        storm.blow()
        tampered = storm.tamper() if options.tamper else []
        began = time.monotonic()
        wrong = storm.settle()
        print(storm.summary())
        print(f"equal after {time.monotonic() - began:.1f} s: {storm.sizes}; {storm.checked} tasks looked for")
    finally:
        ended = storm.close()
    wrong += ended
    if tampered:
        found = [line for line in wrong if any(part in line for part in tampered)]
        wrong = [line for line in wrong if line not in found]
        if len({line.split(": ")[1] for line in found}) != len(tampered):
            wrong.append(f"the check missed what was tampered with: it found {found} of {tampered}")
    print("\n".join(wrong[:60]) if wrong else "nothing is missing")
    if not wrong and not options.keep:
        shutil.rmtree(folder, ignore_errors=True)
    elif wrong:
        print(f"kept: {folder}")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
