#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Kills a host application, or makes its disk, its memory or its system calls fail, at every step of what it
does, and its connections at every byte of a call.

usage: torture.py --host PROGRAM --service PROGRAM --wire-host PROGRAM --soak-host PROGRAM --devserver PROGRAM
                  [--full] [--reports FOLDER] [--seed NUMBER] [--seconds NUMBER] [--step NUMBER] [--all-allocations]
                  [--sanitized] [PART...]

The parts: calls, kills, moments, faults, migration, crowd, wire, memory, syscalls, and soak, which runs only
when it is named, for --seconds or for the minutes that follow it. Without --full each is short. A part is
written to the reports only when nothing in it has failed.
"""

import argparse
import collections
import contextlib
import multiprocessing
import os
import random
import signal
import sys
import time
from pathlib import Path

import calls
import crowd
import memory
import migration_trials
import soak
import syscalls
import trials
import wire
import wire_report
from deaths import Vendors
from report import write_memory_report, write_report
from scenarios import Bench
from service import Service

bench = None


def end_in_order(*_):
    """Lets the exit handlers remove homes and host programs on SIGTERM; a second one is ignored."""
    signal.signal(signal.SIGTERM, signal.SIG_IGN)
    sys.exit(1)


def begin_worker(*programs):
    global bench
    signal.signal(signal.SIGTERM, end_in_order)
    bench = Bench(*programs)
    multiprocessing.util.Finalize(bench, bench.close, exitpriority=10)


@contextlib.contextmanager
def workers(options, number):
    """Their exit handlers run at the end."""
    context = multiprocessing.get_context("fork")
    with context.Pool(number, begin_worker, [options.host, options.service]) as pool:
        yield pool
        pool.close()
        pool.join()


def attempt(trial):
    """(the complaint, what a vendor's code has done) that the trial ended with, each or None."""
    function, *arguments = trial
    try:
        function(bench, *arguments)
    except Vendors as end:
        return None, str(end)
    except Exception as complaint:  # of any kind: it fails this trial and not the whole run
        words = ", ".join(map(str, arguments))
        return f"{function.__name__} {words}: {type(complaint).__name__} {complaint}", None
    return None, None


def run_trials(options, pool, make):
    with Bench(options.host, options.service) as own:
        chosen = list(make(own))
    outcomes = list(pool.imap_unordered(attempt, chosen, 16))
    vendors = collections.Counter(vendors for _, vendors in outcomes if vendors)
    return len(chosen), [complaint for complaint, _ in outcomes if complaint], vendors


def memory_strides(options):
    """Of the library's own allocations, and of all together: nearly all of these are the vendors', the most of
    them in one handshake."""
    own = options.step or (1 if options.full else 211)
    return own, own if options.all_allocations else own * 32


def syscalls_step(options):
    return options.step or (1 if options.full else 41)


def run_memory(options):
    # The short form takes the same sample each time.
    offset = options.seed if options.full else 0
    # These trials wait for the service.
    with Service(options.devserver) as service, workers(options, 2 * os.cpu_count()) as pool:
        return run_trials(options, pool,
                          lambda own: memory.trials(own, service.request, *memory_strides(options), offset))


def run_syscalls(options):
    # Many of these trials wait for time-outs.
    with Service(options.devserver) as service, workers(options, 4 * os.cpu_count()) as pool:
        return run_trials(options, pool, lambda own: syscalls.trials(own, service.request,
                                                                           syscalls_step(options)))


def parts(options, pool):
    """{name: (description, function)}; the function runs the part and returns (number, complaints), and
    what a report of its own tells besides."""
    seed = random.Random(options.seed)
    moments, share = (2000, 1) if options.full else (60, 23)

    def kills(own):
        yield from trials.kill_trials(own)
        yield from trials.mask_trials(own)

    def faults(own):
        yield from trials.fault_trials(own, share)
        yield from trials.read_fault_trials(own, share)

    def migration(own):
        yield from migration_trials.kill_trials(own, 1 if options.full else 199)
        yield from migration_trials.fault_trials(own, 1 if options.full else 1499)
        yield from migration_trials.silence_trials(own, 1 if options.full else 41)
        yield from migration_trials.walk_trials(seed, 200 if options.full else 2)

    return {
        "calls": ("calls that can change a file, each of which the trials can make fail",
                  lambda: calls.check(options.host, options.service)),
        "kills": ("SIGKILL before and after every call that changes the disk",
                  lambda: run_trials(options, pool, kills)),
        "moments": ("SIGKILL at random moments",
                    lambda: run_trials(options, pool,
                                       lambda own: trials.moment_trials(own, seed, moments))),
        "faults": ("a call that fails, once or for ever",
                   lambda: run_trials(options, pool, faults)),
        "migration": ("SIGKILL, failing calls and failing messages between the keyring and the file",
                      lambda: run_trials(options, pool, migration)),
        "crowd": (f"{crowd.PROCESSES} processes of {crowd.THREADS} threads at once, some killed",
                  lambda: crowd.run(options.host, 60 if options.full else 2.5, seed)),
        "wire": ("connections that end at every byte, proxies that are restarted",
                 lambda: wire.run(options.wire_host, options.full)),
        "soak": (f"32 threads that do everything at once for {options.seconds / 60:g} minutes",
                 lambda: soak.run(options.soak_host, options.devserver, options.seconds, seed,
                                  options.sanitized)),
        "memory": (f"an allocation that fails, or all from one on, in a host's life with the service: "
                   f"{memory.share_told(*memory_strides(options))}",
                   lambda: run_memory(options)),
        "syscalls": (f"a system call that fails, once or for ever, in a host's life with the service: "
                     f"{syscalls.share_told(syscalls_step(options))}",
                     lambda: run_syscalls(options)),
    }


def read_options():
    parser = argparse.ArgumentParser()
    parser.add_argument("--host", required=True)
    parser.add_argument("--service", required=True)
    parser.add_argument("--wire-host", required=True)
    parser.add_argument("--soak-host", required=True)
    parser.add_argument("--devserver", required=True)
    parser.add_argument("--seconds", type=float, default=3600)
    parser.add_argument("--sanitized", action="store_true")
    parser.add_argument("--full", action="store_true")
    parser.add_argument("--reports", type=Path, help="the folder to write them to")
    parser.add_argument("--step", type=int, help="of memory and syscalls: one of so many fails")
    parser.add_argument("--all-allocations", action="store_true",
                        help="of memory: the vendors' as often as the library's own")
    parser.add_argument("--seed", type=int, default=random.randrange(2**32))
    parser.add_argument("parts", nargs="*", metavar="PART")
    options = parser.parse_args()
    # "soak 3" is a soak of three minutes.
    if options.parts[:1] == ["soak"] and len(options.parts) == 2:
        options.seconds = 60 * float(options.parts.pop())
    options.parts = options.parts or ["calls", "kills", "moments", "faults", "migration", "crowd", "wire",
                                      "memory", "syscalls"]
    return options


def write_reports(options, name, result, details):
    write_report(options.reports / "torture.md", options.seed, name, result)
    if name == "memory":
        write_memory_report(options.reports / "memory.md", options.seed, memory.share_told(*memory_strides(options)),
                            result, *details)
    if name == "wire":
        wire_report.write(options.reports / "wire.md", options.seed, *details)


def main():
    options = read_options()
    print(f"seed {options.seed}", flush=True)
    signal.signal(signal.SIGTERM, end_in_order)
    failed = False
    with workers(options, os.cpu_count()) as pool:
        for name, (description, run) in parts(options, pool).items():
            if name not in options.parts:
                continue
            began = time.monotonic()
            number, complaints, *details = run()
            seconds = time.monotonic() - began
            print(f"{name}: {number} ({description}), {len(complaints)} failed, {seconds:.1f} s", flush=True)
            for complaint in complaints[:20]:
                print("  " + complaint, flush=True)
            if complaints or number == 0:
                failed = True
            elif options.reports:
                write_reports(options, name, (description, number, seconds), details)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
