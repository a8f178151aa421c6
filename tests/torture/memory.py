# SPDX-License-Identifier: MIT
"""A host's life (life.py) in which memory runs out: the n-th allocation fails, or that one and all after it."""

import signal
from dataclasses import dataclass

import deaths
from life import AFTER, BEFORE, DONE, STEPS, STORES, bench_of
from report import each_of
from scenarios import OLD
from service import LOGIN

NO_MEMORY = "std::bad_alloc"
# What a call says for which OpenSSL is not in order.
OF_OPENSSL = ("secure connection", "couldn't create a context", "the certificate of",
              "no descriptor or memory left")


@dataclass(frozen=True)
class Shortage:
    service: dict  # the fields of a request that say where it is
    store: str
    at: int
    for_ever: bool
    only_of_cxx: bool
    signs_out: bool
    repeats: bool  # what has failed is tried again

    def __str__(self):
        return (f"{'own ' if self.only_of_cxx else ''}allocation {self.at}"
                f"{' and all after it' if self.for_ever else ''}, {self.store}"
                f"{', with sign-out' if self.signs_out else ''}{', not tried again' if not self.repeats else ''}")


def live(own, trial):
    return own.live(trial.service, trial.store, at=trial.at, forEver=trial.for_ever, onlyOfCxx=trial.only_of_cxx,
                    signsOut=trial.signs_out, repeats=trial.repeats)


def stride_of_all(step):
    """Nearly all of these are the vendors' own, the most of them in one handshake."""
    return step * 32


def share_told(step):
    return f"{each_of(step)} of the library's own, {each_of(stride_of_all(step))} of all together"


def trials(bench, service, step, offset):
    """Every `step`-th allocation of the library's own code fails, and of all together fewer."""
    own = bench_of(bench)
    for store in STORES:
        for only_of_cxx, stride in ((True, step), (False, stride_of_all(step))):
            whole = live(own, Shortage(service, store, 0, False, only_of_cxx, True, True))
            begins = {each["name"]: each["begins"] for each in whole["steps"]}
            assert tuple(begins) == STEPS, whole
            for at in range(1 + offset % stride, whole["counted"] + 1, stride):
                # Without it the life shows what a sign-in has stored.
                signs_out = at > begins["sign-out"]
                for for_ever in (False, True):
                    # Trying again would hide what the failed attempt has left.
                    repeats = at // stride % 2 == 0
                    yield (shortage, Shortage(service, store, at, for_ever, only_of_cxx, signs_out,
                                              repeats))


def shortage(bench, trial):
    own = bench_of(bench)
    answer = live(own, trial)
    user = own.stored(trial.store)
    if "signal" in answer or "exit" in answer:
        check_death(trial, answer, user)
        return
    where = deaths.place(answer["failed"])
    told = (answer["steps"], where)
    for step in answer["steps"]:
        check_step(trial, step, told, answer["failed"])
    last = answer["steps"][-1]
    if last["name"] == "restore" and last["attempts"][-1]["outcome"] != DONE:
        assert user == OLD, (user, told)
    elif last["name"] == "sign-in" and last["attempts"][-1]["outcome"] != DONE:
        # Memory can run out when the new user is stored already.
        assert user in (OLD, LOGIN), (user, told)
    elif last["name"] == "sign-out" and last["attempts"][-1]["outcome"] != DONE:
        # It removes in several steps, and is to be called again.
        assert user in (LOGIN, None), (user, told)
    elif answer["status"] == 0:
        assert user == (answer["user"] or None), (user, told)
    else:
        assert user in (OLD, LOGIN) or (trial.signs_out and user is None), (user, told)


def check_death(trial, answer, user):
    assert user in ({OLD, LOGIN, None} if trial.signs_out else {OLD, LOGIN}), (user, answer)
    if trial.for_ever and answer.get("signal") != signal.SIGALRM:
        return
    deaths.judge(answer)


def check_step(trial, step, told, failed):
    """Each attempt is done or says that there was no memory; each handler is called once; the user is as
    the attempt says; and the second attempt, with memory, is done."""
    assert step["reports"] == step["accepted"], ("reports", told)
    first, last = step["attempts"][0], step["attempts"][-1]
    for attempt in step["attempts"]:
        waits = attempt["outcome"] == "silent" or "timed out" in attempt["outcome"]
        if waits and told[1][0] == "libssl.so.3" and attempt["outcome"] != "silent":
            raise deaths.Vendors("libssl.so.3: libcurl overlooks its failure and waits for the time-out")
        assert not waits, ("waits", told)
    name = step["name"]
    before, after = BEFORE[name], AFTER[name]
    for attempt in step["attempts"]:
        if name == "restore" and attempt["status"] != 0 and not trial.only_of_cxx:
            # The C library gives no thread without memory for it, and does not say why: then the status
            # says why nobody was restored.
            after = attempt["user"] or ""
        assert attempt["user"] == (after if attempt["outcome"] == DONE else before), (name, told)
    if trial.only_of_cxx and not trial.for_ever:
        assert first["outcome"] in (DONE, NO_MEMORY) or "memory" in first["outcome"], ("another cause", told)
    if trial.repeats and last["outcome"] != DONE:
        # In a shortage that lasts, the first allocation to fail need not be the one that matters.
        reason = "in a shortage that lasts" if trial.for_ever else deaths.reason_to_keep(failed)
        if reason is None or not any(words in last["outcome"] for words in OF_OPENSSL):
            raise AssertionError(("not the second time either", told))
        raise deaths.Vendors(f"libcrypto: keeps its failure, {reason}; {last['outcome']}")
