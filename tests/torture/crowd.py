# SPDX-License-Identifier: MIT
"""Many processes of many threads over one store, some killed at any moment."""

import signal
import time
from pathlib import Path

import stores
from host import Host, hand_over
from scenarios import NEXT, temporary_folder

PROCESSES = 16
THREADS = 8


def run(program, seconds, random):
    """(how often the stored user was set, cleared or read; complaints)"""
    with temporary_folder() as folder:
        home = Path(folder) / "home"
        stores.plant(home, {})
        counters = Path(folder) / "counters"
        counters.write_bytes(bytes(8 * PROCESSES * THREADS))
        hand_over(counters)
        hosts = [Host(program) for _ in range(PROCESSES)]
        try:
            number, complaints = gather(hosts, home, counters, seconds, random)
            complaints += check_what_is_left(hosts, home)
        finally:
            for host in hosts:
                host.close()
    return number, complaints


def gather(hosts, home, counters, seconds, random):
    number, complaints, kills = 0, [], 0
    end = time.monotonic() + seconds
    rounds = max(3, int(seconds / 4))
    for turn in range(rounds):
        # In all rounds but the last, half of the processes are killed at a random moment.
        length = (end - time.monotonic()) / (rounds - turn)
        for process, host in enumerate(hosts):
            dies = turn < rounds - 1 and process % 2 == turn % 2
            moment = random.uniform(0.05, max(length, 0.1)) * 1_000_000 if dies else 0
            host.send(home, "crowd", process=process, threads=THREADS, seconds=max(length, 0.1),
                      counters=str(counters), killAfter=int(moment))
        for host in hosts:
            answer = host.answer()
            if answer == {"signal": signal.SIGKILL}:
                kills += 1
            elif "complaints" in answer:
                complaints += answer["complaints"]
                number += answer["signIns"] + answer["signOuts"] + answer["reads"]
                if answer["seen"] == 0 and answer["reads"] > 100:
                    complaints.append(f"no user was ever seen: {answer}")
            else:
                complaints.append(f"a process has ended by itself: {answer}")
    if kills == 0:
        complaints.append("nobody was killed")
    return number, complaints


def check_what_is_left(hosts, home):
    """The locks of killed processes are free, and each process sees what another did last."""
    complaints = []
    for turn, host in enumerate(hosts):
        other = hosts[(turn + 1) % len(hosts)]
        name = f"{NEXT}-{turn}"
        answers = [host.ask(home, "sign-in", login=name), other.ask(home, "start")]
        answers.append(other.ask(home, "sign-out"))
        answers.append(host.ask(home, "start"))
        seen = [answer.get("user") for answer in answers]
        if seen != [name, name, None, None]:
            complaints.append(f"one process does not see what another has done: {seen}")
        if any(answer["status"]["code"] for answer in answers):
            complaints.append(f"a call fails because of what is left behind: {answers}")
    # Both the archive and the key in the defaults contain "ORVAAccountUser".
    left = stores.traces(home, [NEXT.encode(), b"ORVAAccountUser"])
    if left:
        complaints.append(f"left after a sign-out: {left}")
    return complaints
