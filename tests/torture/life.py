# SPDX-License-Identifier: MIT
"""Lives of hosts with the development service, with the user in the file or in the keyring. Something goes wrong
in them."""

from dataclasses import dataclass

import two_stores
from scenarios import OLD
from service import IDENTITY, LOGIN

STORES = ("file", "keyring")
DONE = "done"
RARER_IN_OTHERS = 8
# Who is the user after a step, where it changes that.
CHANGES = {"restore": OLD, "sign-in": LOGIN, "sign-in by ticket": LOGIN, "sign-in by OpenID": IDENTITY,
           "sign-in by OpenID V2": IDENTITY, "sign-out": ""}


@dataclass(frozen=True)
class Life:
    name: str
    steps: tuple
    stores: tuple = ("file",)
    has_loop: bool = False  # where all callbacks run
    trusts_as_the_system: bool = False
    is_first: bool = False

    @property
    def rarer(self):
        """What the others have in common with the first, nearly all that vendors do, fails more rarely there."""
        return 1 if self.is_first else RARER_IN_OTHERS

    def __str__(self):
        return self.name


LIVES = (
    Life("a host", ("restore", "sign-in", "picture", "list", "sign-out"), STORES, is_first=True),
    Life("a host with a loop", ("restore", "sign-in", "picture", "sign-out"), has_loop=True),
    Life("a host with the system's trust", ("credentials", "common call"), trusts_as_the_system=True),
    Life("a host that restores nobody", ("credentials", "refused sign-in", "sign-in by OpenID", "sign-out", "sign-in by OpenID V2",
                                         "sign-in by ticket", "sign-out")),
    Life("a host that keeps no user", ("connection", "register", "register V2", "login", "login by OpenID",
                                       "login by OpenID V2", "user data", "web sign-on", "common call",
                                       "picture without an address")),
)
benches = {}


def user_after(step, before):
    return CHANGES.get(step, before)


def stored_after(step, before):
    """The login of the user who is stored; None when nobody is."""
    return before if step == "restore" else CHANGES.get(step, before) or None


def stored_during(steps):
    """Who is stored before the first of the steps, and after each."""
    stored = [OLD]
    for step in steps:
        stored.append(stored_after(step, stored[-1]))
    return stored


class LifeBench:
    def __init__(self, bench):
        self.home, self.host, self.session = bench.home, bench.host, bench.session
        self.states = {}
        for store in STORES:
            two_stores.plant(self.home, self.session, two_stores.Snapshot({}, ""))
            answer = self.host.ask(self.home, "sign-in", login=OLD, **self.at(store))
            assert answer["status"]["code"] == 0, answer
            self.states[store] = two_stores.snapshot(self.home, self.session)

    def at(self, store):
        return {"fileOnly": True} if store == "file" else self.session.request()

    def live(self, service, store, life, steps=None, **request):
        two_stores.plant(self.home, self.session, self.states[store])
        return self.host.ask(self.home, "life", steps=steps or life.steps, hasLoop=life.has_loop,
                             systemTrust=life.trusts_as_the_system, **request, **service, **self.at(store))

    def stored(self, store):
        """Who is stored, read without the library, as a new process finds it too."""
        held = two_stores.read(self.home, self.session)
        started = self.host.ask(self.home, "start", **self.at(store))
        assert started.get("user", "(crashed)") == held.user, (started, held)
        return held.user


def bench_of(bench):
    if bench not in benches:
        benches[bench] = LifeBench(bench)
    return benches[bench]
