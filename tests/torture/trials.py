# SPDX-License-Identifier: MIT
"""The trials of one store. Each trial is a tuple of a function and its arguments, which a worker process
calls; the function raises AssertionError when a check fails."""

import errno
import os
import signal

import stores
from scenarios import SCENARIOS

ERRORS = ("ENOSPC", "EDQUOT", "EIO", "EROFS", "EACCES", "EPERM", "EMFILE", "ENFILE", "EFBIG",
          "EINTR")
SHORT, NOTHING = "short", "nothing"
# The library repeats these when a signal interrupts them, so one EINTR is no failure.
MADE_AGAIN = ("open", "openat", "read", "write", "fsync", "flock", "close")
FAULTS = [(fault, for_ever) for fault in (*ERRORS, SHORT, NOTHING) for for_ever in (False, True)]


def kill_trials(bench):
    """SIGKILL before and after every call that changes the disk, in every scenario."""
    for scenario in SCENARIOS:
        for at, call in enumerate(bench.calls_of(scenario), 1):
            for action in ("kill-before", "kill-after"):
                yield (kill, scenario, call, {"action": action, "at": at})


def mask_trials(bench):
    """The same with the umask 0777, under which a new file is not readable by its owner."""
    for scenario in SCENARIOS:
        if scenario.state != "nothing yet" or scenario.operation != "sign-in":
            continue
        for at, call in enumerate(bench.calls_of(scenario, umask=0o777), 1):
            for action in ("kill-before", "kill-after"):
                yield (kill, scenario, call, {"action": action, "at": at, "umask": 0o777})


def kill(bench, scenario, call, request):
    answer = bench.torment(scenario, **request)
    assert answer == {"signal": signal.SIGKILL}, answer
    bench.check_aftermath(scenario)


def moment_trials(bench, random, number):
    """SIGKILL at random moments within the time that the operation takes."""
    longest = {}
    for scenario in SCENARIOS:
        bench.torment(scenario)
        longest[scenario] = bench.torment(scenario)["microseconds"]
    for _ in range(number):
        scenario = random.choice(SCENARIOS)
        yield (moment, scenario, random.randint(1, longest[scenario]))


def moment(bench, scenario, microseconds):
    # An operation that was quicker than when it was measured has finished before the signal: it is
    # tried again with less time.
    while bench.torment(scenario, killAfter=microseconds) != {"signal": signal.SIGKILL}:
        microseconds = microseconds * 2 // 3 + 1
    bench.check_aftermath(scenario)


def fault_trials(bench, share):
    """Every call that changes the disk fails in every way, once or from there on. Every `share`-th
    of them, so that neighbouring calls fail in different ways."""
    number = 0
    for scenario in SCENARIOS:
        for at, call in enumerate(bench.calls_of(scenario), 1):
            for name, for_ever in FAULTS:
                if name in (SHORT, NOTHING) and call != "write":
                    continue
                number += 1
                if number % share == 0:
                    yield (fault, scenario, call, name, {"at": at, "forEver": for_ever})


def read_fault_trials(bench, share):
    """The calls that only read fail too."""
    number = 0
    for scenario in SCENARIOS:
        if scenario.state != "signed in":
            continue
        for at, call in enumerate(bench.calls_of(scenario, reads=True), 1):
            for name in ("EIO", "EACCES", "EMFILE", "ENFILE", "EINTR"):
                for for_ever in (False, True):
                    number += 1
                    if number % share == 0:
                        yield (fault, scenario, call, name,
                               {"at": at, "forEver": for_ever, "reads": True})


def fault(bench, scenario, call, name, request):
    if name in (SHORT, NOTHING):
        # The library reports a write that takes no byte and sets no errno as EIO.
        request = {**request, "action": "short", "errno": int(name == SHORT)}
        cause = None if name == SHORT else errno.EIO
    else:
        cause = getattr(errno, name)
        request = {**request, "action": "fail", "errno": cause}
        if name == "EINTR" and call in MADE_AGAIN and not request["forEver"]:
            cause = None
    answer = bench.torment(scenario, **request)
    check_memory(scenario, answer, request)
    check_store(bench, scenario, answer, cause)
    bench.check_aftermath(scenario)


def check_memory(scenario, answer, request):
    if request.get("reads") and scenario.operation in ("start", "sign-out", "switch"):
        # A start that could not read restores nobody; a later start restores the user.
        assert answer["user"] in (scenario.in_memory, None), answer
    else:
        assert answer["user"] == scenario.in_memory, answer
        assert answer["notifications"] == scenario.notifications, answer


def check_store(bench, scenario, answer, cause):
    """Either the new user is stored, or the old one still is and the status says why."""
    left = stores.read(bench.home)
    status = answer["status"]
    wanted = scenario.in_memory
    if cause is None:
        assert left.user == wanted and (status["code"] == 0 or left.is_damaged), (left, answer)
    if scenario.operation == "start":
        wanted = answer["user"]
    if left.user == wanted:
        return
    assert left.user == scenario.before, left
    assert status["code"] != 0, (left, answer)
    assert os.strerror(cause) in status["description"], (left, answer)
    assert status["remedy"], answer
