# SPDX-License-Identifier: MIT
"""A session bus with a scripted Secret Service (tests/platform/keychain/secretservice/service). It keeps
its items in a file, so that they outlive it and can be read and planted without the library."""

import base64
import os
import subprocess
import threading

import stores
from host import hand_over

CHANGING = ("CreateItem", "SetSecret", "Delete")
CONFIGURATION = """<busconfig><type>session</type><listen>unix:path={folder}/bus</listen>
<policy context="default"><allow user="*"/><allow send_destination="*"/><allow receive_sender="*"/>
<allow own="*"/></policy></busconfig>"""
PATIENCE = 60


def start(*command, **environment):
    """Starts a program that the kernel kills when this process ends, and waits for its first line."""
    process = subprocess.Popen(["setpriv", "--pdeathsig=KILL", "--", *map(str, command)],
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True, env={**os.environ, **environment})
    watchdog = threading.Timer(PATIENCE, process.kill)
    watchdog.start()
    line = process.stdout.readline().strip()
    watchdog.cancel()
    assert line, f"{command[0]} did not start"
    return process, line


def stop(process):
    process.kill()
    process.wait(PATIENCE)
    process.stdout.close()


def script_of(text):
    return f"keep\n{text}\n"


class Session:
    def __init__(self, program, folder):
        self._program = program
        self._folder = folder
        folder.mkdir()
        hand_over(folder)
        (folder / "bus.conf").write_text(CONFIGURATION.format(folder=folder))
        self.processes = []
        self.begin()

    def begin(self):
        for name in ("items", "script", "log"):
            self.write(name, "")
        bus, self.address = start("dbus-daemon", "--nofork", "--print-address=1",
                                  f"--config-file={self._folder / 'bus.conf'}")
        self.processes.append(bus)
        self.write("bus.pid", str(bus.pid))
        service, _ = start(self._program, *(self._folder / name
                                            for name in ("script", "items", "log")),
                           DBUS_SESSION_BUS_ADDRESS=self.address)
        self.processes.append(service)

    def end(self):
        while self.processes:
            stop(self.processes.pop())

    def restart(self):
        """Starts bus and service anew over the same items, after a script has ended one of them."""
        items = (self._folder / "items").read_text()
        self.end()
        (self._folder / "bus").unlink(missing_ok=True)
        self.begin()
        self.write("items", items)

    def write(self, name, text):
        path = self._folder / name
        path.write_text(text)
        hand_over(path)

    @property
    def items_text(self):
        return (self._folder / "items").read_text()

    def plant(self, text):
        self.write("items", text)

    def set_script(self, text=""):
        self.write("script", script_of(text))

    def path(self, name):
        return str(self._folder / name)

    def request(self, script=""):
        """The fields of a request whose operation meets this service with this script, which takes
        effect when the preparation is done. In the script "host.pid" stands for the host's process
        and "bus.pid" for the bus, so that a line can kill them."""
        for name in ("host.pid", "bus.pid"):
            script = script.replace(name, self.path(name))
        return {"bus": self.address, "processFile": self.path("host.pid"),
                "filesThen": {self.path("log"): "", self.path("script"): script_of(script)}}

    @property
    def calls(self):
        """The methods that were called since the operation began, in order."""
        return [line.split()[0] for line in (self._folder / "log").read_text().splitlines()]

    def secrets(self):
        """The secrets that the service holds, the newest first."""
        found = []
        for line in self.items_text.splitlines():
            service, account, _, modified, secret, *_ = line.split()
            assert (service, account) == (stores.SERVICE, stores.ACCOUNT), line
            found.append((-int(modified), base64.b64decode(secret, validate=True)))
        return [secret for _, secret in sorted(found)]
