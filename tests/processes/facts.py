"""What must be true at the end: what was acknowledged, minus what may have been changed by somebody else since."""

import threading


class Task:
    def __init__(self, title, device):
        self.title, self.status = title, "open"
        self.devices = {device}
        self.alive = True  # False: acknowledged as deleted; None: nobody can say


class Facts:
    """A command that was killed may have happened or not, and so may what another device made of the same task: then
    the fact is given up. Each fact that stays must hold on every device and on the server."""

    def __init__(self):
        self.lock = threading.Lock()
        self.tasks = {}
        self.acknowledged = self.unanswered = 0

    def known(self):
        with self.lock:
            return [id for id, task in self.tasks.items() if task.alive]

    def started(self, id, title, device):
        with self.lock:
            self.acknowledged += 1
            self.tasks[id] = Task(title, device)

    def changed(self, id, device, acknowledged, **fields):
        with self.lock:
            self.acknowledged += acknowledged
            self.unanswered += not acknowledged
            task = self.tasks[id]
            task.devices.add(device)
            for name, value in fields.items():
                # Whoever deletes wins, also against what is told later.
                if name != "alive" or task.alive is not False:
                    setattr(task, name, value if acknowledged else None)

    def doubted(self, ids):
        with self.lock:
            for id in ids:
                task = self.tasks[id]
                task.title = task.status = task.alive = None

    def missing(self, log):
        """What does not hold in this log, as lines."""
        here = {task["id"]: task for task in log["tasks"]}
        tracked = {entry["taskId"] for entry in log["timeEntries"]}
        out = []
        checked = 0
        for id, task in self.tasks.items():
            found = here.get(id)
            if task.alive is False and found:
                out.append(f"{id} was deleted and is back: {found}")
            if not task.alive:
                continue
            checked += 1
            if not found:
                out.append(f"{id} “{task.title}” is missing")
                continue
            if id not in tracked:
                out.append(f"{id} “{task.title}” has lost its time")
            if len(task.devices) == 1:
                for name in ("title", "status"):
                    wanted = getattr(task, name)
                    if wanted is not None and found[name] != wanted:
                        out.append(f"{id}: {name} is “{found[name]}”, acknowledged was “{wanted}”")
        return out, checked


def broken(log):
    """What contradicts the records' own rules."""
    out = []
    running = [entry for entry in log["timeEntries"] if not entry.get("endedAt")]
    active = [task["id"] for task in log["tasks"] if task["isActive"]]
    ids = {task["id"] for task in log["tasks"]}
    if len(running) > 1 or active != [entry["taskId"] for entry in running]:
        out.append(f"running: {running}, active: {active}")
    out += [f"an entry of no task: {entry}" for entry in log["timeEntries"] if entry["taskId"] not in ids]
    projects = {tag["id"] for tag in log["tags"]}
    for task in log["tasks"]:
        if (task["status"] == "done") != bool(task.get("completedAt")):
            out.append(f"status and completion differ: {task}")
        if task.get("tagId") and task["tagId"] not in projects:
            out.append(f"a task of no project: {task}")
    for kind in ("tasks", "timeEntries", "switchLogs", "tags"):
        names = [record["id"] for record in log[kind]]
        if len(names) != len(set(names)):
            out.append(f"{kind}: an id twice")
    return out


def shape(log):
    """The log as it is compared: by kind and id, absent and null alike."""
    return {kind: {record["id"]: {key: value for key, value in record.items() if value is not None}
                   for record in log[kind]} for kind in ("tasks", "timeEntries", "switchLogs", "tags")}


def differences(one, other, names, most=6):
    out = []
    for kind, records in one.items():
        for id in sorted(records.keys() | other[kind].keys()):
            here, there = records.get(id), other[kind].get(id)
            if here != there:
                out.append(f"{kind} {id}: {names[0]} {here}, {names[1]} {there}")
    return out[:most] + ([f"… and {len(out) - most} more"] if len(out) > most else [])
