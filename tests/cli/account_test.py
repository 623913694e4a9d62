#!/usr/bin/env python3
"""The account from the command line: the real program, a real keyring, and a server over TLS that the test plays."""

import http.server
import json
import os
import pathlib
import shutil
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest

TOLVIK = os.environ["TOLVIK"]
HOLDER = os.environ["TOLVIK_HOLDER"]
TOKEN = "t0ken-of-the-test"
EMPTY_PULL = {"tasks": [], "timeEntries": [], "switchLogs": [], "tags": [], "dictionaries": [], "deleted": []}


class Server:
    """Answers like the real one, and keeps what it was asked."""

    def __init__(self, folder):
        self.requests = []
        self.answers = {}
        self.certificate = str(folder / "cert.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost", "-keyout",
                        str(folder / "key.pem"), "-out", self.certificate], check=True, stderr=subprocess.DEVNULL)
        owner = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def answer(self):
                body = self.rfile.read(int(self.headers.get("content-length", 0)))
                path = self.path.split("?")[0]
                owner.requests.append((self.command, path, self.headers.get("authorization"), body))
                if path == "/sync/stream":
                    self.send_response(503)
                    self.send_header("content-length", "0")
                    self.end_headers()
                    return
                status, json_body = owner.answers.get((self.command, path), owner.usual(path))
                out = json.dumps(json_body).encode()
                self.send_response(status)
                self.send_header("content-length", str(len(out)))
                self.end_headers()
                self.wfile.write(out)

            do_GET = do_POST = do_PUT = do_PATCH = do_DELETE = do_HEAD = answer

            def log_message(self, *_):
                pass

        self.http = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.certificate, str(folder / "key.pem"))
        self.http.socket = context.wrap_socket(self.http.socket, server_side=True)
        self.url = f"https://localhost:{self.http.server_address[1]}"
        threading.Thread(target=self.http.serve_forever, daemon=True).start()

    @staticmethod
    def usual(path):
        if path == "/auth/otp/verify":
            return 200, {"token": TOKEN, "user": {"id": "u1", "email": "ann@example.org", "name": "Ann"}}
        return 200, EMPTY_PULL if path == "/sync/pull" else {}

    def paths(self):
        return [f"{method} {path}" for method, path, _, _ in self.requests]


class AccountTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tolvik-account-"))
        self.addCleanup(shutil.rmtree, self.folder, True)
        (self.folder / "run").mkdir(mode=0o700)
        self.server = Server(self.folder)
        self.addCleanup(self.server.http.shutdown)
        self.environment = {**os.environ, "HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder / "run"),
                            "XDG_DATA_HOME": str(self.folder / "share"), "XDG_CONFIG_HOME": str(self.folder / "config"),
                            "SSL_CERT_FILE": self.server.certificate, "DISPLAY": ""}
        for name in ("TOLVIK_BACKEND_URL", "DBUS_SESSION_BUS_ADDRESS", "https_proxy", "HTTPS_PROXY"):
            self.environment.pop(name, None)

    def set_server(self, url):
        (self.folder / "config/Tolvik").mkdir(parents=True, exist_ok=True)
        (self.folder / "config/Tolvik/tolvik.conf").write_text(f"# where the server is\nTOLVIK_BACKEND_URL = {url}\n")

    def session(self):
        """A bus with an open keyring, for as long as the test runs."""
        started = subprocess.run(["dbus-daemon", "--session", "--fork", "--print-address=1", "--print-pid=1"],
                                 env=self.environment, capture_output=True, text=True, check=True)
        address, pid = started.stdout.split()
        self.addCleanup(os.kill, int(pid), 15)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        subprocess.run(["gnome-keyring-daemon", "--unlock", "--components=secrets", "--daemonize"], input="secret",
                       env=self.environment, capture_output=True, text=True, check=True)

    def run_tolvik(self, *arguments, code=0):
        ran = subprocess.run([TOLVIK, *arguments], env=self.environment, capture_output=True, text=True, timeout=60,
                             check=False)
        self.assertEqual(ran.returncode, code, ran.stdout + ran.stderr)
        self.assertNotIn(TOKEN, ran.stdout + ran.stderr)
        return ran.stdout if code == 0 else ran.stdout + ran.stderr

    def json(self, *arguments, code=0):
        return json.loads(self.run_tolvik(*arguments, "--json", code=code).splitlines()[0])

    def life_of_an_account(self):
        self.run_tolvik("start", "Write", "docs")
        self.assertIn("Check your inbox", self.run_tolvik("sign-in", " ann@example.org "))
        self.server.answers[("POST", "/auth/otp/verify")] = (400, {"error": "Code expired"})
        self.assertIn("Code expired", self.run_tolvik("sign-in", "ann@example.org", "--code", "123456", code=3))
        self.server.answers.clear()
        self.assertTrue(self.json("sign-in", "ann@example.org", "--code", "123 456")["signedIn"])
        self.assertEqual([body for _, path, _, body in self.server.requests if path == "/auth/otp/verify"][-1],
                         b'{"email":"ann@example.org","code":"123456"}')
        self.assertEqual(self.json("sync"),
                         {"pending": 0, "pulled": True, "parkedReason": None, "lastRejection": None})
        self.assertIn("POST /tasks", self.server.paths())
        self.assertEqual(self.json("account"), {"signedIn": True, "email": "ann@example.org", "pending": 0})
        self.run_tolvik("account", "name", "Ann", "Ö")
        self.assertIn("(Ann Ö)", self.run_tolvik("account"))
        for file in (self.folder / "share").rglob("*"):
            if file.is_file():
                self.assertNotIn(TOKEN.encode(), file.read_bytes(), file)
        self.assertNotIn(TOKEN, self.run_tolvik("data", "export", "-"))
        self.run_tolvik("sign-out")
        self.assertIn(("POST", "/auth/logout", f"Bearer {TOKEN}"), [made[:3] for made in self.server.requests])
        self.assertFalse(self.json("account")["signedIn"])
        self.run_tolvik("sync", code=1)

    def test_alone(self):
        self.set_server(self.server.url)
        self.session()
        self.life_of_an_account()

    def test_with_a_process_that_serves_the_log(self):
        self.set_server(self.server.url)
        self.session()
        holder = subprocess.Popen([HOLDER], env=self.environment, stdout=subprocess.PIPE, text=True)
        self.addCleanup(holder.stdout.close)
        self.addCleanup(holder.wait)
        self.addCleanup(holder.terminate)
        self.assertEqual(holder.stdout.readline(), "ready\n")
        self.life_of_an_account()

    def test_deletion_is_asked_for_and_a_refused_session_ends(self):
        self.set_server(self.server.url)
        self.session()
        self.run_tolvik("sign-in", "ann@example.org", "--code", "123456")
        self.assertIn("This will permanently delete", self.run_tolvik("account", "delete", code=2))
        self.assertNotIn("DELETE /auth/me", self.server.paths())
        self.server.answers[("DELETE", "/auth/me")] = (500, {})
        self.assertIn("Could not delete the account (HTTP 500).", self.run_tolvik("account", "delete", "--yes", code=3))
        self.assertTrue(self.json("account")["signedIn"])
        self.server.answers.clear()
        self.run_tolvik("account", "delete", "--yes")
        self.assertFalse(self.json("account")["signedIn"])

        self.run_tolvik("sign-in", "ann@example.org", "--code", "123456")
        self.run_tolvik("start", "More")
        self.server.answers[("POST", "/tasks")] = (401, {})
        self.assertIn("The session has ended", self.run_tolvik("sync", code=3))
        self.assertFalse(self.json("account")["signedIn"])

    def test_without_server_keyring_or_network(self):
        self.assertIn("No server is set", self.run_tolvik("sign-in", "ann@example.org", code=3))
        self.set_server("https://localhost:1")
        self.assertIn("Network error: the server could not be reached",
                      self.run_tolvik("sign-in", "ann@example.org", code=3))
        self.set_server(self.server.url)
        told = self.run_tolvik("sign-in", "ann@example.org", "--code", "123456", code=3)
        self.assertIn("Signed in, but the session could not be saved to the Keychain.", told)
        self.assertIn("gnome-keyring", told)
        self.assertEqual(self.server.paths()[-1], "POST /auth/logout", "the session is revoked")
        self.assertIn("Not signed in", self.run_tolvik("account"))
        self.assertIn("Enter a valid email address.", self.run_tolvik("sign-in", "ann", code=2))

    def test_other_commands_load_neither_network_nor_keyring(self):
        self.set_server(self.server.url)
        self.session()
        self.run_tolvik("sign-in", "ann@example.org", "--code", "123456")
        for command in (["status"], ["start", "Write", "docs"], ["stop"]):
            ran = subprocess.run([TOLVIK, *command], env={**self.environment, "LD_DEBUG": "files"},
                                 capture_output=True, text=True, check=False)
            self.assertEqual(ran.returncode, 0)
            self.assertIn("libsqlite3", ran.stderr)
            self.assertNotIn("libcurl", ran.stderr)
            self.assertNotIn("libsecret", ran.stderr)


if __name__ == "__main__":
    if shutil.which("gnome-keyring-daemon") is None:
        sys.exit("needs gnome-keyring")
    unittest.main()
