#!/usr/bin/env python3
"""The server as its operator has it: settings in a file, mail through a mail server, signals, a proxy in front."""

import http.client
import json
import os
import pathlib
import re
import shutil
import signal
import ssl
import stat
import subprocess
import sys
import tempfile
import unittest

from stage import Device, Direct, Server, end, spawn, wait_for

PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
MODELS = pathlib.Path(os.environ.get("TOLVIK_REAL_MODELS", PROGRAMS.parent.parent / "models"))
MAIL_SINK = pathlib.Path(__file__).resolve().parents[2] / "server/mail/mail_sink.py"
ADDRESS = "ann@tolvik.example"


def certificate(folder, name):
    """Key and certificate for this machine, as files."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days",
                    "2", "-subj", f"/CN={name}", "-addext", "subjectAltName=DNS:localhost", "-keyout",
                    f"{folder}/{name}.key", "-out", f"{folder}/{name}.pem"], check=True, stderr=subprocess.DEVNULL)
    return f"{folder}/{name}.pem", f"{folder}/{name}.key"


def get(port, path, authority=None, method="GET", fields=None):
    """(status, body, the certificate that was shown)"""
    line = (http.client.HTTPSConnection("localhost", port, timeout=30,
                                        context=ssl.create_default_context(cafile=authority))
            if authority else http.client.HTTPConnection("localhost", port, timeout=30))
    line.request(method, path, headers=fields or {})
    answer = line.getresponse()
    shown = line.sock.getpeercert(True) if authority else None
    body = answer.read().decode()
    line.close()
    return answer.status, body, shown


class Service(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="tvk", dir="/tmp")
        self.addCleanup(shutil.rmtree, self.folder, True)

    def server(self, *options, dev=False):
        made = Server(PROGRAMS, f"{self.folder}/data", *options, dev=dev)
        self.addCleanup(lambda: end(made.process))
        return made

    def settings(self, **values):
        path = f"{self.folder}/server.conf"
        with open(path, "w", encoding="utf-8") as file:
            file.writelines(f"{name.replace('_', '-')} = {value}\n" for name, value in values.items())
        return path

    def mail_server(self, pem, key):
        sink = spawn(["/usr/bin/python3", MAIL_SINK, pem, key], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(lambda: (end(sink), sink.stdin.close(), sink.stdout.close()))
        return sink, int(sink.stdout.readline())

    def test_codes_come_by_mail_from_settings_in_a_file(self):
        pem, key = certificate(self.folder, "server")
        sink, port = self.mail_server(*certificate(self.folder, "mail"))
        server = self.server("--config", self.settings(
            certificate=pem, key=key, mail_url=f"smtp://localhost:{port}", mail_from="codes@tolvik.example",
            mail_authority=f"{self.folder}/mail.pem", log_level="debug"))
        device = Device(PROGRAMS, f"{self.folder}/ann", server.port, pem)
        self.addCleanup(device.close)
        self.assertEqual(device.run("sign-in", ADDRESS)[0], 0)
        mail = json.loads(sink.stdout.readline())
        self.assertEqual((mail["from"], mail["to"], mail["tls"]), ("codes@tolvik.example", [ADDRESS], True))
        code = re.search(r"\b\d{6}\b", mail["text"])[0]
        wrong = f"{(int(code) + 1) % 1_000_000:06}"
        self.assertEqual(device.run("sign-in", ADDRESS, "--code", wrong)[0], 3)
        self.assertEqual(device.run("sign-in", ADDRESS, "--code", code)[0], 0)
        self.assertTrue(device.json("account")[1]["signedIn"])
        device.run("start", "Bookkeeping of May")
        self.assertEqual(device.json("sync")[1]["pending"], 0)
        logged = server.logged()
        self.assertIn('"/tasks"', logged)
        for secret in (ADDRESS, code, "Bookkeeping", "127.0.0.1"):
            self.assertNotIn(secret, logged)

    def test_health_metrics_a_new_certificate_and_a_quiet_end(self):
        pem, key = certificate(self.folder, "server")
        server = self.server("--config", self.settings(
            certificate=pem, key=key, mail_url="smtp://localhost:9", mail_from="codes@tolvik.example",
            metrics="127.0.0.1:0"))
        status, body, first = get(server.port, "/health", pem)
        self.assertEqual(status, 200, body)
        self.assertEqual(get(server.port, "/health", pem, "HEAD")[:2], (200, ""))
        self.assertEqual(get(server.port, "/metrics", pem)[0], 404)
        status, metrics, _ = get(server.metrics_port, "/metrics")
        self.assertEqual(status, 200)
        self.assertRegex(metrics, r'route="/health".* [1-9]')
        for line in metrics.splitlines():
            self.assertRegex(line, r'^(# (HELP|TYPE) .*|[a-z_]+(\{[^}]*\})? [-+0-9.e]+)$')

        kept = http.client.HTTPSConnection("localhost", server.port, timeout=30,
                                           context=ssl.create_default_context(cafile=pem))
        kept.request("GET", "/health")
        kept.getresponse().read()
        pathlib.Path(pem).write_text("no certificate", encoding="utf-8")
        server.process.send_signal(signal.SIGHUP)
        wait_for(lambda: "reload_failed" in server.logged(), "the refusal of a wrong certificate")
        shutil.copy(pem, f"{self.folder}/wrong.pem")
        renewed, renewed_key = certificate(self.folder, "renewed")
        os.replace(renewed_key, key)
        shutil.copy(renewed, pem)
        server.process.send_signal(signal.SIGHUP)
        wait_for(lambda: '"reloaded"' in server.logged(), "the new certificate")
        self.assertNotEqual(get(server.port, "/health", renewed)[2], first)
        kept.request("GET", "/health")
        self.assertEqual(kept.getresponse().status, 200, "an open connection was closed by the reload")
        kept.close()
        self.assertEqual(server.close(), 0)
        self.assertIn('"stopped"', server.logged())

    def test_an_open_stream_ends_with_the_server_and_secrets_are_for_the_account_alone(self):
        server = self.server("--log-level", "info", dev=True)
        direct = Direct(server, ADDRESS)
        stream = http.client.HTTPSConnection("localhost", server.port, timeout=30,
                                             context=ssl.create_default_context(cafile=server.authority))
        stream.request("GET", "/sync/stream", headers={"authorization": f"Bearer {direct.token}"})
        answer = stream.getresponse()
        self.assertEqual(answer.readline(), b":ok\n")
        self.assertEqual(server.close(), 0)
        self.assertEqual(answer.read().strip(), b"", "the stream did not end cleanly")
        stream.close()
        data = pathlib.Path(self.folder, "data")
        for name in ("server.key", "pepper", "tolvik-server.sqlite"):
            self.assertEqual(stat.S_IMODE((data / name).stat().st_mode), 0o600, name)
        self.assertNotIn("PRIVATE", (data / "authority.pem").read_text(encoding="utf-8"))

    def test_a_second_server_on_the_same_file_is_refused(self):
        server = self.server(dev=True)
        words = [PROGRAMS / "tolvik-server", "--dev", "--port", "0", "--data", f"{self.folder}/data"]
        second = subprocess.run(words, capture_output=True, text=True, timeout=30, check=False)
        self.assertEqual(second.returncode, 3, second.stdout)
        self.assertIn(f"belongs to another tolvik-server (process {server.process.pid})", second.stderr)
        self.assertEqual(get(server.port, "/health", server.authority)[0], 200)
        # However the first ended, its file is free.
        server.kill()
        server.start()

    @unittest.skipUnless(shutil.which("haproxy"), "NOT TESTED BEHIND A PROXY: haproxy is not installed")
    def test_behind_a_proxy(self):
        pem, key = certificate(self.folder, "proxy")
        with open(f"{self.folder}/both.pem", "w", encoding="utf-8") as both:
            both.writelines(pathlib.Path(file).read_text(encoding="utf-8") for file in (pem, key))
        server = self.server("--plain", "--trusted-proxies", "127.0.0.1, ::1", dev=True)
        port = server.port + 1 if server.port < 60_000 else server.port - 1
        pathlib.Path(self.folder, "proxy.conf").write_text(f"""
            defaults
              mode http
              timeout connect 5s
              timeout client 40s
              timeout server 40s
              option forwardfor
            frontend tls
              bind 127.0.0.1:{port} ssl crt {self.folder}/both.pem
              default_backend tolvik
            backend tolvik
              server one 127.0.0.1:{server.port}
""", encoding="utf-8")
        proxy = spawn(["haproxy", "-db", "-f", f"{self.folder}/proxy.conf"], stdout=subprocess.DEVNULL)
        self.addCleanup(lambda: end(proxy))

        def reached():
            try:
                return get(port, "/health", pem)[0] == 200
            except OSError:
                return False
        wait_for(reached, "the proxy")
        one, other = (Device(PROGRAMS, f"{self.folder}/{name}", port, pem) for name in ("one", "other"))
        for device in (one, other):
            self.addCleanup(device.close)
            device.sign_in(server, ADDRESS)
        server.authority, server.port = pem, port
        direct = Direct(server, ADDRESS)
        stream = http.client.HTTPSConnection("localhost", port, timeout=30,
                                             context=ssl.create_default_context(cafile=pem))
        stream.request("GET", "/sync/stream", headers={"authorization": f"Bearer {direct.token}"})
        answer = stream.getresponse()
        self.assertEqual(answer.readline(), b":ok\n", "the greeting was buffered")
        one.run("start", "Through the proxy")
        self.assertEqual(one.json("sync")[1]["pending"], 0)
        while not (line := answer.readline()).startswith(b"data:"):
            self.assertTrue(line, "the stream ended")
        other.json("sync")
        self.assertEqual([task["title"] for task in other.export()["tasks"]], ["Through the proxy"])
        stream.close()

    def test_a_recording_is_heard_by_the_server_and_else_by_the_device(self):
        if not (MODELS / "speech/tokens.txt").exists() or not shutil.which("flite") or not shutil.which("ffmpeg"):
            self.skipTest("NOT TESTED WITH A RECORDING: models, flite or ffmpeg are not set up")
        os.environ["TOLVIK_MODELS"] = str(MODELS)
        self.addCleanup(os.environ.pop, "TOLVIK_MODELS")
        recording = f"{self.folder}/spoken.m4a"
        subprocess.run(["flite", "-voice", "rms", "-t", "switch to backup server", "-o", f"{self.folder}/spoken.wav"],
                       check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["ffmpeg", "-v", "error", "-i", f"{self.folder}/spoken.wav", "-c:a", "aac", recording], check=True)
        server = self.server(dev=True)
        device = Device(PROGRAMS, f"{self.folder}/ann", server.port, server.authority)
        self.addCleanup(device.close)
        device.run("start", "Backup server")
        device.run("start", "Design review")
        device.sign_in(server, ADDRESS)
        # A device without models: whatever it hears, the server heard.
        self.assertFalse(pathlib.Path(device.environment["TOLVIK_MODELS"]).exists())
        code, heard = device.json("hear", recording)
        self.assertEqual((code, heard["action"], heard["taskTitle"], heard["heardBy"]),
                         (0, "switch", "Backup server", "server"), heard)
        # With models and without a server it hears itself, and says why.
        device.environment["TOLVIK_MODELS"] = str(MODELS)
        device.run("switch", "Design review")
        server.kill()
        code, said = device.run("hear", recording)
        self.assertEqual(code, 0, said)
        self.assertRegex(said, "(?s)Heard on this device: .*→ Backup server|→ Backup server.*Heard on this device: ")


if __name__ == "__main__":
    unittest.main(verbosity=2)
