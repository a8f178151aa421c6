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

CHOSEN = r"^(base/|formats/(JSONReader|JSONWriter|KeyedArchiv|PropertyList|XML)" \
         r"|service/(Login|Register|Lists|CommonCall|ResultBlock)|user/UserCache\.|login/LoginManager\.)"
# They compare times, or the memory that is taken, or need minutes of a slow processor.
LEFT_OUT = r"(Growth|Oracle|WithoutMemory|Memory|Under[A-Z]|Many|Random|EveryTwoBytes)"
VALGRIND = ["valgrind", "--quiet", "--error-exitcode=99", "--leak-check=full",
            "--errors-for-leak-kinds=definite", "--trace-children=no"]


def tests_of(build):
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True,
                             text=True, check=True).stdout
    return {test["name"]: test["command"] for test in json.loads(listing)["tests"] if "command" in test}


def run(name, command):
    environment = os.environ | {"DBUS_SESSION_BUS_ADDRESS": "disabled:"}
    try:
        done = subprocess.run(VALGRIND + command, env=environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", timeout=300, check=False)
        return name, done.returncode, done.stdout
    except subprocess.TimeoutExpired:
        return name, 1, "no end after 300 seconds"


def main():
    chosen = sys.argv[2] if len(sys.argv) > 2 else CHOSEN
    tests = {name: command for name, command in tests_of(sys.argv[1]).items()
             if re.search(chosen, name) and not re.search(LEFT_OUT, name)}
    if not tests:
        sys.exit(f"no test's name matches {chosen}")
    failed = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, status, output in pool.map(run, tests.keys(), tests.values()):
            if status != 0:
                failed.append(name)
                print(f"{name}: {status}\n{output[-3000:]}", flush=True)
    print(f"{len(tests) - len(failed)} of {len(tests)} tests passed under valgrind")
    if failed:
        sys.exit(f"failed: {', '.join(failed)}")


main()
