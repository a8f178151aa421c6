#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs some of the tests under valgrind: those that read, that store, and that make calls over TLS. What the
address sanitizer cannot see is a value that nobody has set, and valgrind can.

usage: valgrind.py BUILD [REGEX]
"""

import concurrent.futures
import json
import os
import re
import subprocess
import sys
from pathlib import Path

# How their names begin.
CHOSEN = ["base/", "formats/JSONReader.", "formats/JSONWriter.", "formats/KeyedArchiv", "formats/PropertyList",
          "formats/XML", "service/Common.", "service/OpenIDV2.", "service/ParameterList.", "service/Register.",
          "service/ResultBlock.", "service/UserData.", "user/CurrentUserTest.", "user/ORVAAccountUser.",
          "user/UserCacheTest.", "login/LoginManager.", "login/TicketLogin."]
# They compare times, or the memory that is taken, need minutes of a slow processor, fork while another thread
# holds what the child then has lost, or run code that PCRE2 compiles, which reads beyond a text's end.
LEFT_OUT = r"(Growth|Oracle|WithoutMemory|Memory|Under[A-Z]|Many|Random|EveryTwoBytes|Forked|ThePatterns)"
# Tests of one suite that share a process, since they leave nothing behind in it: valgrind takes longer to start
# than most of them.
TOGETHER = ("base/", "formats/")
VALGRIND = ["valgrind", "--quiet", "--error-exitcode=99", "--leak-check=full",
            "--errors-for-leak-kinds=definite", "--trace-children=no",
            f"--suppressions={Path(__file__).with_suffix('.supp')}"]
FILTER = "--gtest_filter="


def tests_of(build):
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True,
                             text=True, check=True).stdout
    return {test["name"]: test["command"] for test in json.loads(listing)["tests"] if "command" in test}


def chosen_of(tests, wanted=None):
    """The tests that match, or else those of the list, which names none in vain."""
    if wanted:
        names = [name for name in tests if re.search(wanted, name)]
    else:
        gone = [begin for begin in CHOSEN if not any(name.startswith(begin) for name in tests)]
        if gone:
            sys.exit(f"no test's name begins with {', '.join(gone)}")
        names = [name for name in tests if name.startswith(tuple(CHOSEN))]
    return {name: tests[name] for name in names if not re.search(LEFT_OUT, name)}


def runs_of(tests):
    """(names, command) of each process to start."""
    runs, suites = [], {}
    for name, command in tests.items():
        if name.startswith(TOGETHER):
            suites.setdefault((name.split(".")[0], command[0]), []).append(name)
        else:
            runs.append(([name], command))
    for (_, program), names in suites.items():
        filters = [word.removeprefix(FILTER) for name in names for word in tests[name] if word.startswith(FILTER)]
        runs.append((names, [program, FILTER + ":".join(filters)]))
    return runs


def run(command):
    environment = os.environ | {"DBUS_SESSION_BUS_ADDRESS": "disabled:"}
    try:
        done = subprocess.run(VALGRIND + command, env=environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", timeout=600, check=False)
        return done.returncode, done.stdout
    except subprocess.TimeoutExpired:
        return 1, "no end after ten minutes"


def main():
    tests = chosen_of(tests_of(sys.argv[1]), *sys.argv[2:3])
    if not tests:
        sys.exit(f"no test's name matches {sys.argv[2]}")
    failed, done = [], 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = {pool.submit(run, command): names for names, command in runs_of(tests)}
        for finished in concurrent.futures.as_completed(runs):
            names = runs[finished]
            status, output = finished.result()
            done += len(names)
            print(f"[{done}/{len(tests)}] {names[0]}", flush=True)
            if status != 0:
                failed += names
                print(f"{' '.join(names)}: {status}\n{output[-3000:]}", flush=True)
    print(f"{len(tests) - len(failed)} of {len(tests)} tests passed under valgrind")
    if failed:
        sys.exit(f"failed: {', '.join(failed)}")


if __name__ == "__main__":
    main()
