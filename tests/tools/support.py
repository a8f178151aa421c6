"""What the tests of the command line share: the service, a home of its own for each test."""

import argparse
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PASSWORD = "correct horse battery"
WAIT = 60
programs = None
service = None


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

    def run_tool(self, *arguments, typed=None, stdout=subprocess.PIPE, **environment):
        return subprocess.run(
            [programs.orxaccount, *arguments], text=True, stdout=stdout, stderr=subprocess.PIPE,
            input=typed or "", timeout=WAIT, cwd=self.home,
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
