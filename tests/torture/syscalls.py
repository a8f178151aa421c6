# SPDX-License-Identifier: MIT
"""Hosts' lives (life.py) in which a system call fails, whether the library makes it, libcurl, OpenSSL or GLib: the n-th of
its name, or that one and all of the name after it."""

import collections
import errno
import itertools
import os
import signal
from dataclasses import dataclass

import deaths
from life import DONE, LIVES, RARER_IN_OTHERS, STORES, Life, bench_of, stored_during, user_after
from report import each_of

ERRORS = ("EMFILE", "ENOMEM", "EAGAIN", "EINTR")
# What libcurl and OpenSSL say of a failure whose errno they do not tell.
WORDS = {
    "connect": ("Couldn't connect to server",),
    "epoll_create1": ("no descriptor or memory left",),
    "epoll_ctl": ("no descriptor or memory left",),
    "eventfd": ("no descriptor or memory left",),
    "flock": ("is locked by another process",),
    "fopen": ("error setting certificate file",),
    "getaddrinfo": ("Could not resolve host",),
    "getentropy": ("Insufficient randomness",),
    "poll": ("Couldn't connect to server", "the connection was lost"),
    "pthread_create": ("thread failed to start",),
    "recv": ("the connection was lost",),
    "send": ("the connection was lost", "Could not resolve host"),  # libcurl's resolver wakes it up with one
}
# While one of these fails for ever, nothing arrives or nobody hears of it.
SILENT = ("connect", "epoll_wait", "poll", "recv", "send")


@dataclass(frozen=True)
class Failure:
    service: dict  # the fields of a request that say where it is
    life: Life
    store: str
    call: str
    at: int
    error: str
    for_ever: bool

    def __str__(self):
        return (f"{self.life}: {self.call} {self.at}{' and all after it' if self.for_ever else ''}: {self.error}, "
                f"{self.store}")


def stride_of(store, step):
    """Nearly all calls of a life with the keyring are GLib's."""
    return step if store == "file" else step * 32


def share_told(step):
    shares = [f"{each_of(stride_of(store, step))} with the {store}" for store in STORES]
    return ", ".join(shares) + f", {each_of(step * RARER_IN_OTHERS)} in the other lives"


def trials(bench, service, step):
    """Every `step`-th of them, and with the keyring fewer."""
    own = bench_of(bench)
    number = 0
    for life in LIVES:
        for store in life.stores:
            whole = own.live(service, store, life, everywhere=True)
            for call, count in sorted(collections.Counter(whole["calls"]).items()):
                for at, error, for_ever in itertools.product(range(1, count + 1), ERRORS, (False, True)):
                    number += 1
                    if number % (stride_of(store, step) * life.rarer) == 0:
                        yield (failure, Failure(service, life, store, call, at, error, for_ever))


def failure(bench, trial):
    own = bench_of(bench)
    answer = own.live(trial.service, trial.store, trial.life, everywhere=True, action="fail", call=trial.call,
                      at=trial.at, errno=getattr(errno, trial.error), forEver=trial.for_ever, repeats=True)
    user = own.stored(trial.store)
    stored = stored_during(trial.life.steps)
    if "signal" in answer or "exit" in answer:
        assert user in stored, (user, answer)
        deaths.judge(answer)
    told = (answer["steps"], deaths.place(answer["failed"]))
    before = ""
    for step in answer["steps"]:
        before = check_step(trial, step, before, told)
    if answer["status"] == 0:
        assert user == stored[-1], (user, told)
    else:
        assert user in stored, (user, told)
        assert trial.store == "keyring" or is_told(trial, answer["description"]), (answer["description"], told)


def check_step(trial, step, before, told):
    """Each attempt is done or says why not, each handler is called once, the user is as the attempt says,
    and the second attempt, in which nothing fails, is done. Returns who is the user then."""
    assert step["reports"] == step["accepted"], ("reports", told)
    name = step["name"]
    for attempt in step["attempts"]:
        outcome, user = attempt["outcome"], attempt["user"]
        assert is_told(trial, outcome), ("another cause", told)
        # A start that cannot read restores nobody and says why.
        users = [user_after(name, before) if outcome == DONE else before]
        assert user == attempt["told"], ("observers were told of another user", name, told)
        if name == "restore" and attempt["status"] != 0:
            users.append(before)
        assert user in users, (name, told)
    assert step["attempts"][-1]["outcome"] == DONE, ("not the second time either", told)
    return step["attempts"][-1]["user"]


def is_told(trial, outcome):
    if outcome == DONE or os.strerror(getattr(errno, trial.error)) in outcome:
        return True
    if trial.for_ever and trial.call in SILENT and "timed out" in outcome:
        return True
    return any(words in outcome for words in WORDS.get(trial.call, ()))
