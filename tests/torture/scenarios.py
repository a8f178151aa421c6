"""What is tormented: an operation in a state of the store, who may be the user afterwards, and what
must hold after whatever has gone wrong."""

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
    """In memory where that can be: a killed process does not depend on what the disk has, and a
    disk would only make the runs longer."""
    shared_memory = Path("/dev/shm")
    usable = shared_memory.is_dir() and os.access(shared_memory, os.W_OK)
    folder = tempfile.TemporaryDirectory(prefix="orxaccount-torture.",
                                         dir=shared_memory if usable else None)
    Path(folder.name).chmod(0o755)
    return folder


def make_states(host, home):
    """By name: the files of each row of what the two stores can hold, and of damage."""

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
    assert stores.checksum_field_of(content) == stores.expected_checksum_field(content), content
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


# "sign-in" and "clear" meet the state as it is, without the start that would tidy it up.
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
    """A host program, a home of its own, and the states."""

    def __init__(self, program, service):
        self.folder = temporary_folder()
        self.home = Path(self.folder.name) / "home"
        self.host = Host(program)
        self.states = make_states(self.host, self.home)
        self._service = service
        self._session = None

    @property
    def session(self):
        """Begins when it is first wanted."""
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
        """What the incident has left is a state of the table; a new process restores from it whom
        it names and leaves it so; and from there everything works again."""
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
