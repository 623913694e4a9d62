"""The real programs as the tests set them up: servers, databases, and devices with folders and keyrings of their own."""

import http.client
import json
import os
import pathlib
import shutil
import signal
import ssl
import subprocess
import tempfile
import threading
import time

PATIENCE = 30
POSTGRES = pathlib.Path("/usr/lib/postgresql/15/bin")


def wait_for(condition, what, seconds=PATIENCE):
    end = time.monotonic() + seconds
    while not (found := condition()):
        if time.monotonic() > end:
            raise TimeoutError(f"waited {seconds} s in vain: {what}")
        time.sleep(0.02)
    return found


def spawn(words, environment=None, **more):
    """A process that goes with this one, whatever ends it."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *map(str, words)], env=environment, text=True,
                            stderr=more.pop("stderr", subprocess.DEVNULL), **more)


def end(process, how=signal.SIGKILL):
    if process is not None and process.poll() is None:
        process.send_signal(how)
    return process and process.wait(PATIENCE)


class Postgres:
    """A database server in a temporary folder, reached through a socket in it alone."""

    def __init__(self, durable=False):
        self.folder = tempfile.mkdtemp(prefix="tolvik-pg-")
        if os.geteuid() == 0:
            os.chown(self.folder, 65534, 65534)
        self._run("initdb", "-D", f"{self.folder}/data", "-U", "tolvik", "-A", "trust", "-E", "UTF8", "--locale=C",
                  "--no-sync")
        options = f"-c listen_addresses='' -c unix_socket_directories={self.folder} -c max_connections=60"
        self._run("pg_ctl", "-D", f"{self.folder}/data", "-w", "-l", f"{self.folder}/log", "-o",
                  options + ("" if durable else " -F"), "start")
        self.url = f"postgresql://tolvik@/postgres?host={self.folder}"

    @staticmethod
    def installed():
        return (POSTGRES / "initdb").exists()

    def _run(self, program, *words):
        drop = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if os.geteuid() == 0 else []
        subprocess.run([*drop, POSTGRES / program, *words], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, cwd="/")

    def close(self):
        self._run("pg_ctl", "-D", f"{self.folder}/data", "-m", "immediate", "stop")
        shutil.rmtree(self.folder, ignore_errors=True)


class Server:
    """A tolvik-server, which is started again on the same port after it was killed. Its log is FOLDER.log."""

    def __init__(self, programs, folder, *options, dev=True):
        self.words = [programs / "tolvik-server", "--json", "--data", folder, *(["--dev"] if dev else []), *options]
        self.log, self.port, self.process, self.codes, self.kills = f"{folder}.log", 0, None, {}, 0
        self.start()

    def start(self):
        with open(self.log, "a", encoding="utf-8") as log:
            self.process = spawn([*self.words, "--port", self.port], stdout=subprocess.PIPE, stderr=log)
        first = json.loads(self.process.stdout.readline() or "{}")
        if first.get("event") != "listening":
            raise RuntimeError(f"the server did not start: {first}, see {self.log}")
        self.port, self.authority = first["port"], first.get("SSL_CERT_FILE")
        self.metrics_port = first.get("metricsPort")
        threading.Thread(target=self._read, args=[self.process.stdout], daemon=True).start()

    def logged(self):
        with open(self.log, encoding="utf-8") as log:
            return log.read()

    def _read(self, lines):
        with lines:
            for line in lines:
                told = json.loads(line)
                if told["event"] == "code":
                    self.codes[told["address"]] = told["code"]

    def kill(self):
        self.kills += 1
        end(self.process)

    def close(self):
        return end(self.process, signal.SIGTERM)


class Direct:
    """Requests without a device: what the server itself says."""

    def __init__(self, server, address):
        self.server, self.token = server, None
        self.ask("POST", "/auth/otp/send", {"email": address})
        code = wait_for(lambda: server.codes.pop(address, None), "a code")
        self.token = self.ask("POST", "/auth/otp/verify", {"email": address, "code": code})["token"]

    def ask(self, method, path, body=None, operation=None):
        """The answer's JSON; OSError when none came or the server did not take it."""
        context = ssl.create_default_context(cafile=self.server.authority)
        line = http.client.HTTPSConnection("localhost", self.server.port, context=context, timeout=PATIENCE)
        fields = {"content-type": "application/json", "x-client": "macos", "X-TZ-Offset": "0"}
        fields |= {"authorization": f"Bearer {self.token}"} if self.token else {}
        fields |= {"x-op-id": operation} if operation else {}
        try:
            line.request(method, path, body and json.dumps(body), fields)
            answer = line.getresponse()
            text = answer.read()
        except http.client.HTTPException as error:
            raise OSError(str(error)) from error
        finally:
            line.close()
        if answer.status != 200:
            raise OSError(f"{method} {path}: {answer.status} {text[:200]}")
        return json.loads(text)


class Device:
    """A home with a log, a session bus and an open keyring; its programs reach the server through `port`."""

    def __init__(self, programs, folder, port, authority, display=None):
        self.programs, self.folder, self.desktop = programs, pathlib.Path(folder), None
        run = self.folder / "run"
        run.mkdir(parents=True, mode=0o700)
        self.environment = {
            "HOME": str(folder), "PATH": os.environ["PATH"], "XDG_RUNTIME_DIR": str(run), "TZ": "Europe/Helsinki",
            "XDG_DATA_HOME": f"{folder}/share", "XDG_CONFIG_HOME": f"{folder}/config", "LANG": "C.UTF-8",
            "XDG_CACHE_HOME": f"{folder}/cache", "TOLVIK_MODELS": f"{folder}/none", "SSL_CERT_FILE": authority,
            "TOLVIK_BACKEND_URL": f"https://localhost:{port}", **({"DISPLAY": display} if display else {})}
        self.bus = spawn(["dbus-daemon", "--session", "--nofork", "--print-address=1"], self.environment,
                         stdout=subprocess.PIPE)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.bus.stdout.readline().strip()
        self.keyring = spawn(["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
                             self.environment, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.keyring.stdin.write("secret")
        self.keyring.stdin.close()
        owner = ["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                 "org.freedesktop.DBus.GetNameOwner", "string:org.freedesktop.secrets"]
        wait_for(lambda: subprocess.run(owner, env=self.environment, capture_output=True, check=False).returncode == 0,
                 "a secret service")

    def start(self, *words):
        return spawn([self.programs / "tolvik", *words], self.environment, stdin=subprocess.DEVNULL,
                     stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def run(self, *words):
        """(exit code, output)"""
        process = self.start(*words)
        try:
            out, _ = process.communicate(timeout=60)
        except subprocess.TimeoutExpired:
            process.kill()
            raise
        return process.returncode, out

    def json(self, *words):
        code, out = self.run(*words, "--json")
        return code, json.loads(out.splitlines()[0])

    def sign_in(self, server, address):
        code, said = self.run("sign-in", address)
        assert code == 0, said
        digits = wait_for(lambda: server.codes.pop(address, None), "a code")
        code, said = self.run("sign-in", address, "--code", digits)
        assert code == 0, said

    def export(self):
        code, said = self.run("data", "export", "-")
        assert code == 0, said
        return {key.removeprefix("tolvik:"): records for key, records in json.loads(said).items()}

    def start_desktop(self):
        log = open(self.folder / "desktop.log", "a+", encoding="utf-8")
        begin = log.tell()
        self.desktop = spawn([self.programs / "tolvik-desktop", "--time-start"], self.environment,
                             stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=log)

        def started():
            log.seek(begin)
            return "start:" in log.read() or self.desktop.poll() is not None
        wait_for(started, "the desktop")
        log.close()

    def close(self):
        for process in (self.desktop, self.keyring, self.bus):
            end(process)
        self.bus.stdout.close()
