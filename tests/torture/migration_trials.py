# SPDX-License-Identifier: MIT
"""The trials of the stored user's migration between the keyring and the file store. Each trial is a
tuple of a function and its arguments, which a worker process calls; the function raises AssertionError
when a check fails."""

import errno
import os
import random
import signal

import stores
from migration import MigrationBench, prospect, scenarios
from session import CHANGING

ERRORS = ("ENOSPC", "EIO", "EROFS", "EACCES")
REFUSED = "error org.freedesktop.DBus.Error.Failed"
# ANSWERS come at once. After ENDS the session must be restarted. SILENT costs two seconds a call.
ANSWERS = (REFUSED, "error org.freedesktop.Secret.Error.IsLocked", "malformed", "ignore")
ENDS = ("die", "kill bus.pid", "kill-after bus.pid")
SILENT = "silent"

benches = {}


def bench_of(bench):
    if bench not in benches:
        benches[bench] = MigrationBench(bench)
    return benches[bench]


def kill_trials(bench, share):
    """SIGKILL before and after every call that changes a file, and at every message that changes an
    item of the service, before the service has carried it out and after. Every `share`-th of them."""
    number = 0
    for scenario in scenarios():
        calls, messages = bench_of(bench).steps(scenario)
        moments = [(call, "", {"action": action, "at": at}) for at, call in enumerate(calls, 1)
                   for action in ("kill-before", "kill-after")]
        moments += [(message, f"call {at} {action} host.pid", {})
                    for at, message in enumerate(messages, 1) if message in CHANGING
                    for action in ("kill", "kill-after")]
        for moment in moments:
            number += 1
            if number % share == 0:
                yield (migration_kill, scenario, *moment)


def migration_kill(bench, scenario, _, script, request):
    bench = bench_of(bench)
    answer = bench.torment(scenario, script, **request)
    assert answer == {"signal": signal.SIGKILL}, answer
    check_stored(bench, scenario)
    bench.check_aftermath(scenario.service)


def check_stored(bench, scenario):
    """The stores hold the old user or the new one, and no mix."""
    held = bench.held
    outlook = bench.prospect_of(scenario)
    assert held.user in outlook.allowed, held
    assert held.owner is None or held.uuid in (None, held.owner.uuid), held
    damaged = held.record == stores.DAMAGED
    assert not damaged or "damaged" in scenario.state, held
    return held, outlook


def fault_trials(bench, share):
    """Every call that changes a file fails, once or from there on; and every message fails in each
    way that needs no waiting."""
    number = 0
    for scenario in scenarios():
        calls, messages = bench_of(bench).steps(scenario)
        faults = [(migration_fault, scenario, call, name, {"at": at, "forEver": for_ever})
                  for at, call in enumerate(calls, 1) for name in ERRORS
                  for for_ever in (False, True)]
        for at, message in enumerate(messages, 1):
            for fault in (*ANSWERS, *ENDS):
                if fault == "ignore" and message not in CHANGING:
                    continue
                faults.append((message_fault, scenario, message, f"call {at} {fault}"))
        for fault in faults:
            number += 1
            if number % share == 0:
                yield fault


def silence_trials(bench, share):
    """The service does not answer a message that changes something, or the first one of a start."""
    number = 0
    for scenario in scenarios():
        _, messages = bench_of(bench).steps(scenario)
        for at, message in enumerate(messages, 1):
            changes = message in CHANGING
            if changes or (at == 1 and scenario.operation == "start"):
                number += 1
                if number % share == 0:
                    yield (message_fault, scenario, message, f"call {at} {SILENT}")


def migration_fault(bench, scenario, _, name, request):
    bench = bench_of(bench)
    cause = getattr(errno, name)
    answer = bench.torment(scenario, action="fail", errno=cause, **request)
    outlook = bench.prospect_of(scenario)
    assert answer["user"] == outlook.in_memory, answer
    assert answer["notifications"] == outlook.notifications, answer
    held, _ = check_stored(bench, scenario)
    if held.user != outlook.stored:
        status = answer["status"]
        assert status["code"] != 0 and status["remedy"], (held, answer)
        assert os.strerror(cause) in status["description"], (held, answer)
    bench.check_aftermath(scenario.service)


def message_fault(bench, scenario, _, script):
    bench = bench_of(bench)
    answer = bench.torment(scenario, script)
    if any(end in script for end in ENDS):
        bench.session.restart()
    held, outlook = check_stored(bench, scenario)
    status = answer["status"]
    told = status["code"] != 0 and status["description"] and status["remedy"]
    restored = answer["user"] == outlook.in_memory
    # A start that the service does not answer restores nobody and says why; the user stays stored.
    unread = scenario.operation == "start" and answer["user"] is None and told
    assert restored or (unread and held.user == outlook.before), (held, answer)
    if restored:
        assert answer["notifications"] == outlook.notifications, answer
    assert held.user == outlook.stored or told, (held, answer)
    bench.check_aftermath(scenario.service)


def walk_trials(seed, number):
    """Several incidents in a row, with no undisturbed operation between them."""
    for _ in range(number):
        yield (walk, seed.randrange(2**32))


def walk(bench, seed):
    bench = bench_of(bench)
    choices = random.Random(seed)
    bench.plant(bench.states[choices.choice(list(bench.states))])
    path = []
    for step in range(choices.randint(3, 8)):
        operation = choices.choice(("start", "sign-in", "switch", "sign-out", "clear"))
        service = choices.choice((False, True))
        login = f"user-{step}"
        before, outlook = bench.snapshot(), prospect(bench.held, operation, login, service)
        answer = bench.ask(operation, service, login)
        messages = bench.session.calls if service else []
        script, request = incident(choices, answer, messages)
        path.append((operation, service, login, script, request))
        bench.plant(before)
        bench.ask(operation, service, login, script, **request)
        held = bench.held
        assert held.user in outlook.allowed, (path, held)
    try:
        bench.check_aftermath(choices.choice((False, True)))
    except AssertionError as complaint:
        raise AssertionError(path, complaint) from complaint


def incident(choices, answer, messages):
    """(script, request) of a random incident in the operation whose undisturbed run gave this answer
    and these messages; nothing when it has no step that could go wrong."""
    if choices.random() < 0.3:
        return "", {"killAfter": choices.randint(1, answer["microseconds"] + 1)}
    calls = answer["calls"]
    changing = [at for at, message in enumerate(messages, 1) if message in CHANGING]
    if changing and choices.random() < 0.4:
        fault = choices.choice(("kill host.pid", "kill-after host.pid", *ANSWERS))
        return f"call {choices.choice(changing)} {fault}", {}
    if not calls:
        return "", {}
    action = choices.choice(("kill-before", "kill-after", "fail"))
    return "", {"action": action, "at": choices.randint(1, len(calls)),
                "forEver": choices.random() < 0.5,
                "errno": getattr(errno, choices.choice(ERRORS))}
