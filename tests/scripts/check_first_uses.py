#!/usr/bin/env python3
"""No object of the library is made behind a guard of the compiler's: a child that is forked while
another thread is making it would wait for ever. ProcessWide makes such objects.

usage: check_first_uses.py STATIC_LIBRARY
"""

import re
import subprocess
import sys

from cpp_source import report

GUARD = re.compile(r"guard variable for (orx::.*)")
# Read with the transfer engine's mutex held, which a fork waits for.
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
