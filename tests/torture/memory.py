# SPDX-License-Identifier: MIT
"""Hosts' lives (life.py) in which memory runs out: the n-th allocation fails, or that one and all after it."""

import signal
from dataclasses import dataclass

import deaths
from life import DONE, LIVES, RARER_IN_OTHERS, Life, bench_of, stored_during, user_after
from report import each_of

NO_MEMORY = "std::bad_alloc"
# What a call says for which OpenSSL is not in order.
OF_OPENSSL = ("secure connection", "couldn't create a context", "signaled by ssl ctx callback",
              "the certificate of", "no descriptor or memory left")


@dataclass(frozen=True)
class Shortage:
    service: dict  # the fields of a request that say where it is
    life: Life
    store: str
    at: int
    for_ever: bool
    only_of_cxx: bool
    steps: tuple
    repeats: bool  # what has failed is tried again

    def __str__(self):
        return (f"{self.life}: {'own ' if self.only_of_cxx else ''}allocation {self.at}"
                f"{' and all after it' if self.for_ever else ''}, {self.store}"
                f"{', with sign-out' if self.steps == self.life.steps else ''}{', not tried again' if not self.repeats else ''}")


def live(own, trial):
    return own.live(trial.service, trial.store, trial.life, trial.steps, at=trial.at, forEver=trial.for_ever,
                    onlyOfCxx=trial.only_of_cxx, repeats=trial.repeats)


def share_told(stride, stride_of_all):
    return (f"{each_of(stride)} of the library's own, {each_of(stride_of_all)} of all together, and in the other "
            f"lives {each_of(stride_of_all * RARER_IN_OTHERS)} of these")


def trials(bench, service, stride, stride_of_all, offset):
    """One in `stride` allocations of the library's own code fails, and one in `stride_of_all` of all together."""
    own = bench_of(bench)
    for life in LIVES:
        for store in life.stores:
            for only_of_cxx, one_in in ((True, stride), (False, stride_of_all * life.rarer)):
                yield from trials_of(own, service, life, store, only_of_cxx, one_in, offset)


def trials_of(own, service, life, store, only_of_cxx, stride, offset):
    whole = live(own, Shortage(service, life, store, 0, False, only_of_cxx, life.steps, True))
    ends = [(step["name"], step["attempts"][-1]["outcome"]) for step in whole["steps"]]
    assert ends == [(step, DONE) for step in life.steps], whole
    last = whole["steps"][-1]
    for at in range(1 + offset % stride, whole["counted"] + 1, stride):
        # Without it the life shows what a sign-in has stored.
        signs_out = last["name"] != "sign-out" or at > last["begins"]
        for for_ever in (False, True):
            # Trying again would hide what the failed attempt has left.
            repeats = at // stride % 2 == 0
            yield (shortage, Shortage(service, life, store, at, for_ever, only_of_cxx,
                                      life.steps if signs_out else life.steps[:-1], repeats))


def shortage(bench, trial):
    own = bench_of(bench)
    answer = live(own, trial)
    user = own.stored(trial.store)
    if "signal" in answer or "exit" in answer:
        check_death(trial, answer, user)
        return
    told = (answer["steps"], deaths.place(answer["failed"]))
    before = ""
    for step in answer["steps"]:
        before = check_step(trial, step, before, told, answer["failed"])
    stored = stored_during(trial.steps[:len(answer["steps"])])
    if answer["steps"][-1]["attempts"][-1]["outcome"] != DONE:
        # Memory can run out when the new user is stored already, and a sign-out removes in several
        # steps and is to be called again.
        assert user in stored[-2:], (user, told)
    elif answer["status"] == 0:
        assert user == stored[-1], (user, told)
    else:
        assert user in stored, (user, told)


def check_death(trial, answer, user):
    assert user in stored_during(trial.steps), (user, answer)
    if trial.for_ever and answer.get("signal") != signal.SIGALRM:
        return
    deaths.judge(answer)


def check_step(trial, step, before, told, failed):
    """Each attempt is done or says that there was no memory; each handler is called once; the user is as
    the attempt says, and as observers were told; and the second attempt, with memory, is done. Returns who
    is the user then."""
    assert step["reports"] == step["accepted"], ("reports", told)
    first, last = step["attempts"][0], step["attempts"][-1]
    for attempt in step["attempts"]:
        waits = attempt["outcome"] == "silent" or "timed out" in attempt["outcome"]
        if waits and told[1][0] == "libssl.so.3" and attempt["outcome"] != "silent":
            raise deaths.Vendors("libssl.so.3: libcurl overlooks its failure and waits for the time-out")
        assert not waits, ("waits", told)
    name = step["name"]
    after = user_after(name, before)
    for attempt in step["attempts"]:
        assert attempt["user"] == attempt["told"], ("observers were told of another user", name, told)
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
    return last["user"]
