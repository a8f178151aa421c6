# SPDX-License-Identifier: MIT
"""What the tests of the command line share: the service, a home of its own for each test."""

import argparse
import errno
import fcntl
import json
import os
import pty
import select
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest
from pathlib import Path
from xml.sax.saxutils import escape

PASSWORD = "correct horse battery"
WAIT = 60
programs = None
service = None


def answer(code, description, kind, data):
    return ('<?xml version="1.0" encoding="utf-8"?>'
            '<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>'
            '<callResponse xmlns="https://account.orva.example/"><callResult>'
            f"<ResultCode>{code}</ResultCode><ResultDesc>{escape(description)}</ResultDesc>"
            f"<ReturnDataType>{kind}</ReturnDataType><ReturnData>{escape(data)}</ReturnData>"
            "</callResult></callResponse></soap:Body></soap:Envelope>")


class Service:
    def __init__(self, plan=(), *options):
        self.folder = tempfile.TemporaryDirectory(prefix="orxaccount-service.")
        file = Path(self.folder.name, "plan.json")
        file.write_text(json.dumps(plan), encoding="ascii")
        self.process = subprocess.Popen([programs.devserver, "--fault-plan", str(file), *options],
                                        stdout=subprocess.PIPE, text=True, cwd=self.folder.name)
        self.ready = json.loads(self.process.stdout.readline())

    def stop(self):
        self.process.terminate()
        self.process.wait(WAIT)
        self.process.stdout.close()
        self.folder.cleanup()


class CommandLine(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="orxaccount-home.")
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": folder.name,
            "ORXACCOUNT_APP_ID": "demo-app",
            "ORXACCOUNT_APP_KEY": "demo-key",
            **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")},
        }
        self.use(service)
        self.login = f"{self.id().rsplit('.', 1)[1].lower()}@example.com"

    def use(self, other):
        port = other.ready["port"]
        self.environment["ORXACCOUNT_CA_FILE"] = other.ready["caFile"]
        self.environment["ORXACCOUNT_CONNECT"] = ",".join(
            f"{host}=127.0.0.1:{port}" for host in other.ready["hosts"])

    def readable_authority(self):
        """A copy of the service's authority that every user may read."""
        place = self.home / "ca.pem"
        shutil.copy(service.ready["caFile"], place)
        place.chmod(0o644)
        return place

    def connect_to(self, listening):
        self.environment["ORXACCOUNT_CONNECT"] = (
            f"{service.ready['hosts'][0]}=127.0.0.1:{listening.getsockname()[1]}")

    def ticket(self):
        return json.loads(self.expect(0, "whoami", "--json", "--show-ticket").stdout)["ticket"]

    def run_tool(self, *arguments, typed=None, stdout=subprocess.PIPE, prepare=None, **environment):
        return subprocess.run(
            [programs.orxaccount, *arguments], text=True, stdout=stdout, stderr=subprocess.PIPE,
            input=typed or "", timeout=WAIT, cwd=self.home, preexec_fn=prepare,
            env={**self.environment, **environment}, start_new_session=True)

    def expect(self, code, *arguments, **options):
        done = self.run_tool(*arguments, **options)
        self.assertEqual(done.returncode, code, (done.stdout or "") + done.stderr)
        return done

    def sign_up(self, *more):
        self.expect(0, "register", "--login", self.login, "--password-stdin", *more,
                    typed=PASSWORD + "\n")
        return self.expect(0, "login", "--login", self.login, "--password-stdin", "--json",
                           typed=PASSWORD + "\n")


class Terminal(CommandLine):
    """On a terminal of its own."""

    def start(self, *arguments, program=None, columns=80):
        program = program or programs.orxaccount
        child, terminal = pty.fork()
        if child == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            os.chdir(self.home)
            os.execve(program, [program, *arguments], self.environment)
        self.addCleanup(os.close, terminal)
        return child, terminal

    def read_until(self, terminal, text):
        shown = ""
        end = time.monotonic() + WAIT
        while text is None or text not in shown:
            ready, _, _ = select.select([terminal], [], [], max(0, end - time.monotonic()))
            self.assertTrue(ready, f"waited in vain for {text!r} after {shown!r}")
            try:
                piece = os.read(terminal, 4096).decode()
            except OSError as error:
                self.assertEqual(error.errno, errno.EIO)
                piece = ""
            if not piece:
                break
            shown += piece
        return shown

    def wait_for_echo(self, terminal, wanted):
        end = time.monotonic() + WAIT
        while bool(termios.tcgetattr(terminal)[3] & termios.ECHO) != wanted:
            self.assertLess(time.monotonic(), end, "the terminal's echo did not change")
            time.sleep(0.01)

    def exit_code(self, child):
        _, status = os.waitpid(child, 0)
        return os.waitstatus_to_exitcode(status)

    def sign_in(self):
        child, terminal = self.start("login", "--login", self.login)
        shown = self.read_until(terminal, "Password: ")
        self.wait_for_echo(terminal, False)
        os.write(terminal, (PASSWORD + "\n").encode())
        shown += self.read_until(terminal, None)
        self.assertEqual(self.exit_code(child), 0, shown)
        return shown


def main(description):
    global programs, service
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--orxaccount", required=True)
    parser.add_argument("--devserver", required=True)
    parser.add_argument("--service", help="the scripted Secret Service, where a test has a keyring")
    programs, others = parser.parse_known_args()
    service = Service()
    try:
        result = unittest.main(argv=[sys.argv[0], *others], exit=False).result
    finally:
        service.stop()
    return 0 if result.wasSuccessful() else 1
