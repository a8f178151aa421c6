#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Walks through an account's life with the command line, against the development service.

Every step is a process of its own, as for a user at a terminal. The first step whose outcome is wrong
ends the walk, which names it and exits with 1. All files lie in one temporary folder, which is removed
at the end.
"""

import argparse
import http.client
import json
import os
import re
import shlex
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import urllib.parse
from pathlib import Path

LOGIN = "ada@example.com"
PASSWORD = "correct horse battery"
WAIT = 120


class StepFailed(Exception):
    pass


class Outcome:
    def __init__(self, code, out, err):
        self.code = code
        self.out = out
        self.err = err

    def expect(self, code, *patterns):
        if self.code != code:
            raise StepFailed(f"it ended with exit code {self.code}, not {code}")
        for pattern in patterns:
            if not re.search(pattern, self.err + self.out):
                raise StepFailed(f"its output does not hold /{pattern}/")
        return self


class DevelopmentService:
    """Runs the service on a loopback port. The constructor returns when it is ready."""

    def __init__(self, program, folder):
        self.process = subprocess.Popen(
            [program], cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        if not line:
            raise StepFailed(f"{program} ended without becoming ready")
        ready = json.loads(line)
        self.port = ready["port"]
        self.ca_file = ready["caFile"]
        self.hosts = ready["hosts"]

    def connect_map(self):
        return ",".join(f"{host}=127.0.0.1:{self.port}" for host in self.hosts)

    def get(self, url):
        """Gets a page over HTTPS and verifies the certificate as a browser does."""
        parts = urllib.parse.urlsplit(url)
        context = ssl.create_default_context(cafile=self.ca_file)
        connection = http.client.HTTPSConnection(parts.hostname, timeout=WAIT)
        plain = socket.create_connection(("127.0.0.1", self.port), timeout=WAIT)
        connection.sock = context.wrap_socket(plain, server_hostname=parts.hostname)
        connection.request("GET", parts.path + (f"?{parts.query}" if parts.query else ""))
        answer = connection.getresponse()
        body = answer.read().decode()
        connection.close()
        return answer.status, body

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(WAIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


class Walk:
    def __init__(self, orxaccount, service, folder):
        self.orxaccount = orxaccount
        self.service = service
        self.folder = folder
        self.number = 0
        self.title = "setting up"
        self.environment = {
            "PATH": os.environ.get("PATH", ""),
            "HOME": str(folder),
            "XDG_CONFIG_HOME": str(folder / "config"),
            "XDG_DATA_HOME": str(folder / "data"),
            # Without this, the demo's users would be stored in the keyring of whoever runs it.
            "DBUS_SESSION_BUS_ADDRESS": "disabled:",
            "XDG_STATE_HOME": str(folder / "state"),
            "ORXACCOUNT_APP_ID": "demo-app",
            "ORXACCOUNT_APP_KEY": "demo-key",
            "ORXACCOUNT_CONNECT": service.connect_map(),
            "ORXACCOUNT_CA_FILE": service.ca_file,
        }
        for name, value in os.environ.items():
            if name.endswith("SAN_OPTIONS") or name == "LD_LIBRARY_PATH":
                self.environment[name] = value

    def step(self, title):
        self.number += 1
        self.title = title
        print(f"\n{self.number:2}. {title}", flush=True)

    def run(self, *arguments, typed=None, show=True, lines=8, **environment):
        shown = "".join(f"{name}={value} " for name, value in environment.items())
        shown += "orxaccount " + shlex.join(arguments)
        if typed is not None:
            secret = "$PASSWORD" if "--password-stdin" in arguments else "$TICKET"
            shown = f'echo "{secret}" | {shown}'
        done = subprocess.run(
            [self.orxaccount, *arguments], cwd=self.folder, text=True, capture_output=True,
            input=None if typed is None else typed + "\n", timeout=WAIT,
            stdin=subprocess.DEVNULL if typed is None else None,
            env={**self.environment, **environment})
        outcome = Outcome(done.returncode, done.stdout, done.stderr)
        if show:
            print(f"    $ {shown}")
            output = (done.stderr + done.stdout).splitlines()
            for line in output[:lines]:
                print(f"      {line}")
            if len(output) > lines:
                print(f"      ... {len(output) - lines} lines more")
            if done.returncode != 0:
                print(f"      (exit code {done.returncode})")
        return outcome

    def holds(self, what):
        print(f"    \u2713 {what}", flush=True)

    def json(self, *arguments, **options):
        return json.loads(self.run(*arguments, "--json", show=False, **options).expect(0).out)


def require(condition, what):
    if not condition:
        raise StepFailed(what)


def in_order(text, *patterns):
    at = 0
    for pattern in patterns:
        found = re.compile(pattern).search(text, at)
        require(found, f"/{pattern}/ is missing, or comes too early")
        at = found.end()


def sign_in(walk):
    walk.step("Register an account")
    walk.run("register", "--login", LOGIN, "--email", LOGIN, "--first-name", "Ada", "--last-name",
             "Lovelace", "--country", "GBR", "--password-stdin",
             typed=PASSWORD).expect(0, r"registered as customer \S+")
    walk.holds("the service gave the new customer a number")

    walk.step("Sign in with a wrong password")
    walk.run("login", "--login", LOGIN, "--password-stdin",
             typed="not the password").expect(1, r"password error \(com\.orva\.account 4\)")
    walk.run("whoami").expect(4, "nobody is signed in")
    walk.holds("refused in the service's own words, code 4, and nobody is signed in")

    walk.step("A password among the arguments is refused before anything is sent")
    walk.run("login", "--login", LOGIN, "--password", "12345678").expect(2, r"process list \(ps\)")
    walk.run("login", "--login", LOGIN, "--set", "passwd=12345678").expect(2, r"process list \(ps\)")
    walk.holds("ps would have shown it")

    walk.step("Sign in: observers are told first, then the delegate")
    outcome = walk.run("--verbose", "login", "--login", LOGIN, "--password-stdin",
                       typed=PASSWORD).expect(0, rf"signed in as {LOGIN}")
    in_order(outcome.err, rf"observer: \S+: nobody -> {LOGIN}",
             rf"delegate: didLoginWithUser {LOGIN}, error none")
    walk.holds("that process has ended")

    walk.step("A new process restores the user")
    walk.run("whoami", lines=20).expect(0, rf"login: +{LOGIN}", r"first_name: +Ada")
    walk.holds("the user was there without signing in")


def other_sign_ins(walk):
    ticket = walk.json("whoami", "--show-ticket")["ticket"]
    require(ticket, "the signed-in user holds no ticket")

    walk.step("Another application signs in with the ticket")
    walk.run("--identifier", "com.example.other", "login-ticket", "--ticket-stdin",
             typed=ticket).expect(0, rf"signed in as {LOGIN}")
    walk.run("--identifier", "com.example.other", "user-data", "--ticket-stdin", typed=ticket,
             lines=4).expect(0, LOGIN)
    walk.run("--identifier", "com.example.other", "logout").expect(0)
    require(walk.json("whoami")["login"] == LOGIN, "signing out there signed out here too")
    walk.holds("each application has its own user")

    walk.step("Sign in with an identity of another provider: it replaces the user")
    outcome = walk.run("--verbose", "login-openid", "--type", "example", "--uid",
                       "1234567").expect(0, "signed in as")
    in_order(outcome.err, rf"observer: \S+: {LOGIN} -> (?!{LOGIN})(?!nobody)", "delegate: .*error none")
    first = walk.json("whoami")
    require(first["login"] != LOGIN, "the first user is still there")
    walk.holds("observers were told of both, the old user and the new")

    walk.step("The same over the JSON interface")
    walk.run("login-openid-v2", "--type", "example", "--uid", "nobody-knows-me").expect(1)
    walk.run("register-openid-v2", "--type", "example", "--uid", "7654321", "--email",
             "grace@example.com").expect(0)
    walk.run("login-openid-v2", "--type", "example", "--uid", "7654321").expect(0, "signed in as")
    second = walk.json("whoami")
    require(second["cus_id"] and second["cus_id"] != first["cus_id"], "nobody new is signed in")
    walk.holds("an unknown identity is refused, a registered one is signed in")


def services(walk):
    walk.run("login", "--login", LOGIN, "--password-stdin", typed=PASSWORD, show=False).expect(0)

    walk.step("The service's lists")
    walk.run("countries", lines=6).expect(0, "DEU|DE")
    walk.run("professions", lines=6).expect(0)
    require(walk.json("education") == walk.json("countries"),
            "the education list is not what the service keeps under that name")
    walk.run("list", "no-such-list").expect(1)
    walk.holds("countries and professions came; a list that does not exist is said to be none")

    walk.step("Any other operation of the service")
    walk.run("call", "w000000015", "--set", f"login={LOGIN}").expect(0, "false")
    walk.run("call", "w999999999").expect(1, r"ApiID Error \(com\.orva\.account 2\)")
    walk.holds("by its identifier")

    walk.step("Web single sign-on")
    address = walk.run("sso").expect(0, "https://").out.strip()
    status, page = walk.service.get(address)
    require(status == 200 and LOGIN in page, f"the page (status {status}) does not show {LOGIN}")
    walk.holds(f"the page behind that address knows {LOGIN}")

    walk.step("The profile picture")
    walk.run("picture", "--output", "ada.picture").expect(
        0, r"(PNG|JPEG|GIF|WebP|BMP|SVG) picture, .*\d+ bytes, saved as")
    require((walk.folder / "ada.picture").stat().st_size > 0, "the file is empty")
    walk.holds("saved, with its format, size and place")

    walk.step("The China servers")
    walk.run("--china", "register", "--login", "lin@example.com", "--country", "CHN",
             "--password-stdin", typed=PASSWORD).expect(0)
    walk.run("--china", "login", "--login", "lin@example.com", "--password-stdin",
             typed=PASSWORD).expect(0, "signed in as lin@example.com")
    walk.run("--china", "sso").expect(0, r"https://account-cn\.")
    walk.run("whoami", lines=20).expect(0, r"picture: +https://account-cn\.|country: +CHN")
    walk.holds("answered by the China host")

    walk.step("A server that cannot prove who it is gets nothing")
    walk.run("countries", ORXACCOUNT_CA_FILE="").expect(3, r"NSURLErrorDomain -1202")
    walk.run("login", "--login", LOGIN, "--password-stdin", typed=PASSWORD,
             ORXACCOUNT_CA_FILE="").expect(3, r"NSURLErrorDomain -1202")
    require(walk.json("whoami")["login"] == "lin@example.com", "the failure changed the user")
    walk.holds("no password left this machine, and the user stayed")


def sign_out(walk):
    walk.step("Sign out")
    outcome = walk.run("--verbose", "logout").expect(0, "signed out lin@example.com")
    in_order(outcome.err, "observer: .* lin@example.com -> nobody")
    walk.holds("observers were told")

    walk.step("A new process finds nobody")
    walk.run("whoami").expect(4, "nobody is signed in")
    walk.run("status", lines=12).expect(0, r"signedIn: +false")
    left = [path for path in (walk.folder / "data").rglob("*") if path.is_file()]
    require(not any(LOGIN.encode() in path.read_bytes() for path in left), f"data is left in {left}")
    walk.holds("nothing of the account is left")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--orxaccount", required=True, type=Path)
    parser.add_argument("--devserver", required=True, type=Path)
    options = parser.parse_args()
    # An exit runs the clean-up below; the default action of SIGTERM would leave folder and service.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with tempfile.TemporaryDirectory(prefix="orxaccount-demo.") as name:
        service = DevelopmentService(options.devserver.resolve(), name)
        try:
            walk = Walk(str(options.orxaccount.resolve()), service, Path(name))
            print(f"The development service answers on 127.0.0.1:{service.port} for "
                  f"{', '.join(service.hosts)}.")
            try:
                for part in (sign_in, other_sign_ins, services, sign_out):
                    part(walk)
            except StepFailed as failure:
                print(f"\nStep {walk.number} does not hold: {walk.title}\n  {failure}",
                      file=sys.stderr)
                return 1
        finally:
            service.stop()
    print(f"\nAll {walk.number} steps hold.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
