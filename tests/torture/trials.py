"""The single trials. Each is a tuple that a worker can be handed: a function and its arguments; each
raises AssertionError when the store did not survive."""

import errno
import os
import signal

import stores
from scenarios import SCENARIOS

ERRORS = ("ENOSPC", "EDQUOT", "EIO", "EROFS", "EACCES", "EPERM", "EMFILE", "ENFILE", "EFBIG",
          "EINTR")
SHORT, NOTHING = "short", "nothing"
# An interruption is no fault of theirs.
MADE_AGAIN = ("open", "openat", "read", "write", "fsync", "flock", "close")
FAULTS = [(fault, for_ever) for fault in (*ERRORS, SHORT, NOTHING) for for_ever in (False, True)]


def kill_trials(bench):
    """Before and after every call that changes the disk, in every scenario."""
    for scenario in SCENARIOS:
        for at, call in enumerate(bench.calls_of(scenario), 1):
            for action in ("kill-before", "kill-after"):
                yield (kill, scenario, call, {"action": action, "at": at})


def mask_trials(bench):
    """The same under a file-creation mask that shuts out the owner himself."""
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
    """At moments that fall anywhere between the first and the last thing the operation does."""
    longest = {}
    for scenario in SCENARIOS:
        bench.torment(scenario)
        longest[scenario] = bench.torment(scenario)["microseconds"]
    for _ in range(number):
        scenario = random.choice(SCENARIOS)
        yield (moment, scenario, random.randint(1, longest[scenario]))


def moment(bench, scenario, microseconds):
    # The machine may be faster than it was when it was measured: then the operation got through,
    # and is tried with less time.
    while bench.torment(scenario, killAfter=microseconds) != {"signal": signal.SIGKILL}:
        microseconds = microseconds * 2 // 3 + 1
    bench.check_aftermath(scenario)


def fault_trials(bench, share):
    """Every call that changes the disk fails in every way, once and for ever; of these every
    `share`-th, each call being met by another way than the one before."""
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
        # A write that takes nothing, and says nothing, is as good as an input/output error.
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
        # What could not be read was not restored; the user is back once it can be.
        assert answer["user"] in (scenario.in_memory, None), answer
    else:
        assert answer["user"] == scenario.in_memory, answer
        assert answer["notifications"] == scenario.notifications, answer


def check_store(bench, scenario, answer, cause):
    """Either the operation is stored, or what was stored is and the status says why."""
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
