#!/usr/bin/env python3
"""The library has no function-local static that needs the compiler's guard: if another thread is
inside its initialiser during fork(), the child waits on the guard for ever. ProcessWide is used
instead.

usage: check_first_uses.py STATIC_LIBRARY
"""

import re
import subprocess
import sys

from cpp_source import report

GUARD = re.compile(r"guard variable for (orx::.*)")


def check_symbols(lines):
    for line in lines:
        found = GUARD.search(line)
        if found:
            yield f"made behind a guard: {found.group(1)}"


def main():
    lines = subprocess.run(["nm", "-C", "--defined-only", sys.argv[1]], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    return report(list(check_symbols(lines)), f"{len(lines)} symbols")


if __name__ == "__main__":
    sys.exit(main())
