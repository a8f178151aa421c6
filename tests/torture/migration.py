# SPDX-License-Identifier: MIT
"""The stored user while it moves between the keyring and the file store. An operation is tried in
each state of the two stores, in a session with a Secret Service and in one without; after an incident
the checks below must hold."""

from dataclasses import dataclass

import stores
import two_stores
from scenarios import NEW, NEXT, OLD
from two_stores import FILE, KEYRING

OLDER = "user-older"
NAMES = (b"user-",)


@dataclass(frozen=True)
class Scenario:
    state: str
    operation: str
    service: bool

    def __str__(self):
        return f"{self.operation} {'with' if self.service else 'without'} a service ({self.state})"


@dataclass(frozen=True)
class Prospect:
    """What is expected of an operation. `acts` says whether it changes the stores at all."""

    before: str | None
    stored: str | None
    in_memory: str | None
    notifications: int
    acts: bool = True

    @property
    def allowed(self):
        """Who may be stored after the operation was killed or has failed."""
        return {self.before, self.stored}


def prospect(held, operation, login, service):
    before, restored = held.user, held.restorable(service)
    if operation == "start":
        return Prospect(before, before, restored, int(restored is not None), False)
    if operation in ("sign-in", "switch"):
        return Prospect(before, login, login, 1)
    if operation == "clear":
        return Prospect(before, None, None, 0)
    # Where nobody is signed in, a sign-out does nothing.
    return Prospect(before, None if restored else before, None, int(restored is not None),
                    restored is not None)


def scenarios():
    for state in MAKERS:
        for operation in ("start", "sign-in", "switch", "sign-out", "clear"):
            for service in (False, True):
                # Without a service these use the file store alone: scenarios.py covers them.
                if service or state not in ("nothing yet", "signed out", "in the file"):
                    yield Scenario(state, operation, service)


class MigrationBench:
    """Plants states, has the host program operate on them, and checks what is stored. States after an
    incident that were checked once are not checked again."""

    def __init__(self, bench):
        self.home, self.host, self.session = bench.home, bench.host, bench.session
        self.known_steps = {}
        self.passed = set()
        self.states = {}
        self.begins = {}
        for name, make in MAKERS.items():
            self.plant(two_stores.Snapshot({}, ""))
            make(self)
            self.states[name] = self.snapshot()
            self.begins[name] = self.held

    def plant(self, state):
        two_stores.plant(self.home, self.session, state)

    def snapshot(self):
        return two_stores.snapshot(self.home, self.session)

    @property
    def held(self):
        return two_stores.read(self.home, self.session)

    def ask(self, operation, service, login="", script="", **request):
        session = self.session.request(script) if service else {}
        answer = self.host.ask(self.home, operation, login=login, **session, **request)
        self.session.set_script()
        return answer

    def do(self, operation, service, login=""):
        """Carries out an operation that nothing disturbs, and checks its outcome."""
        outlook = prospect(self.held, operation, login, service)
        answer = self.ask(operation, service, login)
        assert answer.get("user", "(crashed)") == outlook.in_memory, (operation, answer)
        assert answer["notifications"] == outlook.notifications, (operation, answer)
        if outlook.acts:
            assert answer["status"]["code"] == 0, (operation, answer)
        held = self.held
        assert held.user == outlook.stored, (operation, held)
        return answer, held

    def torment(self, scenario, script="", **request):
        self.plant(self.states[scenario.state])
        return self.ask(scenario.operation, scenario.service, NEW, script, **request)

    def prospect_of(self, scenario):
        return prospect(self.begins[scenario.state], scenario.operation, NEW, scenario.service)

    def steps(self, scenario):
        """(the calls that change files, the messages to the service) of the undisturbed
        operation."""
        if scenario not in self.known_steps:
            self.plant(self.states[scenario.state])
            answer, _ = self.do(scenario.operation, scenario.service, NEW)
            messages = self.session.calls if scenario.service else []
            self.known_steps[scenario] = answer["calls"], messages
        return self.known_steps[scenario]

    # What must hold after an incident, whether or not the next program finds a service.

    def check_aftermath(self, here):
        """Runs each check of WAYS, each from the state that the incident has left."""
        remains, held = self.snapshot(), self.held
        kind = (here, two_stores.kind(remains, held))
        if kind in self.passed:
            return
        for go in WAYS:
            self.plant(remains)
            go(self, here)
        self.passed.add(kind)

    def restore(self, service):
        """A new program restores exactly who is stored, or nobody and says why."""
        before = self.held
        answer, after = self.do("start", service)
        status = answer["status"]
        if not before.reachable(service):
            # Without a record nothing tells the library that the keyring holds a user.
            told = status["code"] != 0 and status["remedy"]
            assert told or before.record is None, (before, answer)
            assert after.owner == before.owner and after.place == KEYRING, (before, after)
            return
        assert before.record == stores.DAMAGED or status["code"] == 0, (before, answer)
        if after.user is None:
            assert before.record == stores.DAMAGED or after.owner is None, (before, after)
            return
        # A start writes the restored user to the store of this session and removes the stale
        # copies that it can reach.
        assert after.place == (KEYRING if service else FILE), (before, after)
        assert set(after.stale) <= ({KEYRING} if not service else set()), (before, after)
        assert (after.file is None) == service, (before, after)
        assert len(after.keyring) == 1 or not service, (before, after)

    def use(self, service):
        """Signing in and out works and leaves no trace in the stores of this session. Once a
        program has run with the other store, it leaves no trace there either."""
        _, held = self.do("sign-in", service, NEXT)
        assert held.place == (KEYRING if service else FILE), held
        self.do("sign-out", service)
        self.check_no_trace(service)
        self.do("start", not service)
        self.do("start", True)
        self.check_no_trace(True)

    def take_along(self, service):
        """A user who signs in with a service is restored without one and the other way round, and
        nobody else is."""
        self.do("sign-in", service, NEXT)
        self.restore(not service)
        self.restore(service)
        self.restore(True)
        self.do("sign-out", True)
        self.check_no_trace(True)

    def leave(self, service):
        """A sign-out without a start before it leaves no trace either."""
        self.do("clear", service)
        self.check_no_trace(service, "data")
        self.do("start", not service)
        self.do("start", True)
        # Only below "data": a killed writer can have left a temporary defaults file without a user,
        # which the next write of the defaults removes.
        self.check_no_trace(True, "data")

    def check_no_trace(self, service, below=""):
        held = self.held
        left_behind = stores.traces(self.home / below, NAMES)
        assert not left_behind and held.uuid is None and held.file is None, (left_behind, held)
        if service:
            assert held.keyring == () and held.record is None, held


def restore_here_and_there(bench, here):
    for service in (here, not here, here):
        bench.restore(service)
    bench.use(not here)


def restore_there(bench, here):
    bench.restore(not here)
    bench.use(here)


WAYS = (
    restore_here_and_there,
    restore_there,
    lambda bench, here: bench.use(here),
    lambda bench, here: bench.use(not here),
    lambda bench, here: bench.leave(here),
    lambda bench, here: bench.leave(not here),
    lambda bench, here: bench.take_along(here),
    lambda bench, here: bench.take_along(not here),
)


def as_earlier(bench, text, item=None):
    """Plants what an earlier version of the library wrote: a record, and an item's file that holds
    the item alone, by default the one that the file holds now."""
    state = bench.snapshot()
    if item is None:
        _, _, item = stores.split_note(state.files[stores.ITEM][1])
    files = {**state.files, two_stores.RECORD: (0o600, text.encode())}
    del files[stores.ITEM]
    if item:
        files[stores.ITEM] = (0o600, item)
    bench.plant(two_stores.Snapshot(files, state.items))


def in_keyring(bench):
    bench.do("sign-in", True, OLD)


def in_keyring_alone(bench):
    """The keyring holds the user and the record is missing: the data folder was lost."""
    in_keyring(bench)
    state = bench.snapshot()
    files = {path: entry for path, entry in state.files.items() if path != stores.ITEM}
    bench.plant(two_stores.Snapshot(files, state.items))


def in_file(bench):
    bench.do("sign-in", False, OLD)


def in_file_stale_in_keyring(bench):
    bench.do("sign-in", True, OLDER)
    bench.do("sign-in", False, OLD)


def in_keyring_stale_in_file(bench):
    """Only an earlier version could leave a stale item in the file."""
    bench.do("sign-in", False, OLDER)
    _, item = bench.snapshot().files[stores.ITEM]
    bench.do("sign-in", True, OLD)
    as_earlier(bench, "newest: secret-service\nstale: file\n", item)


def in_file_stale_in_keyring_earlier(bench):
    in_file_stale_in_keyring(bench)
    as_earlier(bench, "newest: file\nstale: secret-service\n")


def signed_out_stale_in_keyring(bench):
    bench.do("sign-in", True, OLDER)
    bench.do("clear", False)


def signed_out_stale_in_both(bench):
    """Both stores hold a copy that an earlier version could not remove; it wrote the file last."""
    bench.do("sign-in", True, OLDER)
    bench.do("sign-in", False, OLD)
    as_earlier(bench, "newest: nowhere\nstale: secret-service file\n")


def signed_out(bench):
    in_keyring(bench)
    bench.do("clear", True)


def in_keyring_damaged_note(bench):
    in_keyring(bench)
    state = bench.snapshot()
    files = {**state.files, stores.ITEM: (0o600, b"newest: secret")}
    bench.plant(two_stores.Snapshot(files, state.items))


def in_keyring_damaged_record(bench):
    in_keyring(bench)
    as_earlier(bench, "newest: secret")


# The name of each state, and the function that makes it in empty stores.
MAKERS = {
    "nothing yet": lambda bench: None,
    "signed out": signed_out,
    "in the keyring": in_keyring,
    "in the keyring alone": in_keyring_alone,
    "in the keyring, stale in the file, by an earlier version": in_keyring_stale_in_file,
    "in the file": in_file,
    "in the file, stale in the keyring": in_file_stale_in_keyring,
    "signed out, stale in the keyring": signed_out_stale_in_keyring,
    "in the file, stale in the keyring, by an earlier version": in_file_stale_in_keyring_earlier,
    "signed out, stale in both, by an earlier version": signed_out_stale_in_both,
    "in the keyring, damaged note": in_keyring_damaged_note,
    "in the keyring, damaged record of an earlier version": in_keyring_damaged_record,
}
