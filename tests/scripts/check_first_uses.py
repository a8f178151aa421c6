#!/usr/bin/env python3
"""The library has no function-local static whose initialisation the compiler guards: when another
thread is inside the initialiser during fork(), the child waits on the guard for ever. ProcessWide takes
its place.

usage: check_first_uses.py STATIC_LIBRARY
"""

import re
import subprocess
import sys

from cpp_source import report

GUARD = re.compile(r"guard variable for (orx::.*)")
# Called only with the mutex of the transfers held, and a fork waits for that one.
ALLOWED = "systemBundleIsReadable()"


def check_symbols(lines):
    for line in lines:
        found = GUARD.search(line)
        if found and ALLOWED not in line:
            yield f"made behind a guard: {found.group(1)}"


def main():
    lines = subprocess.run(["nm", "-C", "--defined-only", sys.argv[1]], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    return report(list(check_symbols(lines)), f"{len(lines)} symbols")


if __name__ == "__main__":
    sys.exit(main())
