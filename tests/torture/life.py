# SPDX-License-Identifier: MIT
"""A host's life with the development service: restore, sign-in by password over TLS, picture, list,
sign-out, with the user in the file or in the keyring. Something goes wrong in it."""

import two_stores
from scenarios import OLD
from service import LOGIN

STORES = ("file", "keyring")
STEPS = ("restore", "sign-in", "picture", "list", "sign-out")
DONE = "done"
# Who is the user before a step, and after it.
BEFORE = {"restore": "", "sign-in": OLD, "picture": LOGIN, "list": LOGIN, "sign-out": LOGIN}
AFTER = {"restore": OLD, "sign-in": LOGIN, "picture": LOGIN, "list": LOGIN, "sign-out": ""}
benches = {}


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

    def live(self, service, store, **request):
        two_stores.plant(self.home, self.session, self.states[store])
        return self.host.ask(self.home, "life", **request, **service, **self.at(store))

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
