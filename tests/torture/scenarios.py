# SPDX-License-Identifier: MIT
"""The scenarios: an operation in a state of the stores. And the checks after an incident in one: who
may be the user, and that everything works again."""

import os
import shutil
import tempfile
from dataclasses import dataclass
from pathlib import Path

import stores
from host import Host
from session import Session

OLD, NEW, NEXT = "user-old", "user-new", "user-next"
NAMES = tuple(name.encode() for name in (OLD, NEW, NEXT))


def temporary_folder():
    """In memory where the system has such a folder. A killed process leaves the same files there as
    on a disk, and flushing is faster."""
    shared_memory = Path("/dev/shm")
    usable = shared_memory.is_dir() and os.access(shared_memory, os.W_OK)
    folder = tempfile.TemporaryDirectory(prefix="orxaccount-torture.",
                                         dir=shared_memory if usable else None)
    Path(folder.name).chmod(0o755)
    return folder


def make_states(host, home):
    """The files of each state by its name: all that the two stores can hold together, and damage."""

    def after(*operations):
        stores.plant(home, {})
        for operation, login in operations:
            answer = host.ask(home, operation, login=login)
            assert answer["status"]["code"] == 0, answer
        return stores.tree(home)

    def without(files, path):
        return {name: entry for name, entry in files.items() if name != path}

    def cut(files, path):
        mode, content = files[path]
        return {**files, path: (mode, content[:len(content) * 2 // 3])}

    signed_in = after(("sign-in", OLD))
    other = after(("sign-in", OLD))
    content = signed_in[stores.DEFAULTS][1]
    assert stores.checksum_of(content) == stores.expected_checksum(content), content
    return {
        "nothing yet": {},
        "signed out": after(("sign-in", OLD), ("sign-out", "")),
        "signed in": signed_in,
        "signed in, by another's hand": stores.as_another_writes(signed_in),
        "item missing": without(signed_in, stores.ITEM),
        "defaults wiped": without(signed_in, stores.DEFAULTS),
        "another installation's item": {**signed_in, stores.DEFAULTS: other[stores.DEFAULTS]},
        "damaged defaults": cut(signed_in, stores.DEFAULTS),
        "damaged item": cut(signed_in, stores.ITEM),
    }


@dataclass(frozen=True)
class Scenario:
    operation: str
    state: str

    @property
    def before(self):
        return OLD if self.state.startswith("signed in") else None

    @property
    def in_memory(self):
        """The current user once the operation has returned, whatever the disk did."""
        if self.operation in ("sign-in", "switch"):
            return NEW
        return self.before if self.operation == "start" else None

    @property
    def allowed(self):
        """Who may be stored after the operation was killed or failed."""
        return {self.before, self.before if self.operation == "start" else self.in_memory}

    @property
    def notifications(self):
        if self.operation == "clear":
            return 0
        return 1 if self.in_memory or self.operation == "sign-out" else 0

    def __str__(self):
        return f"{self.operation} ({self.state})"


# "sign-in" and "clear" run without a start before them, which would remove an item that is foreign.
SCENARIOS = [
    *(Scenario(operation, state)
      for operation in ("start", "sign-in", "clear")
      for state in ("nothing yet", "signed out", "signed in", "signed in, by another's hand",
                    "item missing", "defaults wiped", "another installation's item",
                    "damaged defaults", "damaged item")),
    Scenario("switch", "signed in"),
    Scenario("sign-out", "signed in"),
]


class Bench:
    """A host program, a home folder for it, and the states to put there."""

    def __init__(self, program, service):
        self.folder = temporary_folder()
        self.home = Path(self.folder.name) / "home"
        self.host = Host(program)
        self.states = make_states(self.host, self.home)
        self._service = service
        self._session = None

    @property
    def session(self):
        """The session bus with its service, started on first use."""
        if self._session is None:
            self._session = Session(self._service, Path(self.folder.name) / "session")
        return self._session

    def close(self):
        try:
            if self._session is not None:
                self._session.end()
            self.host.close()
        finally:
            self.folder.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def torment(self, scenario, **request):
        stores.plant(self.home, self.states[scenario.state])
        return self.host.ask(self.home, scenario.operation, login=NEW, **request)

    def calls_of(self, scenario, **request):
        answer = self.torment(scenario, **request)
        assert answer["user"] == scenario.in_memory, (str(scenario), answer)
        return answer["calls"]

    def check_aftermath(self, scenario):
        """The files that the incident left are a state that the user cache allows. A new process
        restores the user they name and changes nothing else. Then signing in and out works."""
        left = stores.read(self.home)
        assert left.user in scenario.allowed, f"stored: {left}"
        assert not left.is_damaged or scenario.state.startswith("damaged"), f"stored: {left}"
        started = self.host.ask(self.home, "start")
        assert started.get("user", "(crashed)") == left.user, (started, left)
        assert (started["status"]["code"] != 0) == left.is_damaged, (started, left)
        now = stores.read(self.home)
        if left.is_removed_at_start:
            assert now == stores.Stored(None, None, None), f"after the start: {now}"
        else:
            assert now == left, f"after the start: {now} instead of {left}"

        signed_in = self.host.ask(self.home, "sign-in", login=NEXT)
        assert signed_in["status"]["code"] == 0, signed_in
        assert stores.read(self.home).user == NEXT
        signed_out = self.host.ask(self.home, "sign-out")
        assert signed_out["status"]["code"] == 0 and signed_out["notifications"] == 1, signed_out
        assert stores.read(self.home) == stores.Stored(None, None, None)
        left_behind = stores.traces(self.home, NAMES)
        assert not left_behind, f"after a sign-out: {left_behind}"
        shutil.rmtree(self.home)
