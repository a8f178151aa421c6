#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The library has no function-local static that needs the compiler's guard: if another thread is
inside its initialiser during fork(), the child waits on the guard for ever. ProcessWide is used
instead, and a test makes each such object amid forks: the name of its source stands in that test.

usage: check_first_uses.py STATIC_LIBRARY
"""

import re
import subprocess
import sys

from cpp_source import ROOT, bare, files, report

GUARD = re.compile(r"guard variable for (orx::.*)")


def check_symbols(lines):
    for line in lines:
        found = GUARD.search(line)
        if found:
            yield f"made behind a guard: {found.group(1)}"


def check_tested(sources, test):
    """`sources`: (name without ending, text) of each; `test`: the text of the test of first uses."""
    words = {word.lower() for word in re.findall(r"[A-Za-z]\w*", test)}
    for name, text in sources:
        holds = re.search(r"\bconstinit\s+(?:ProcessWide<|std::atomic<[\w:]+\*>\s+slot)", bare(text))
        if holds and name.lower() not in words:
            yield f"{name}.cpp holds an object of the whole process that FirstUseTest.cpp does not name"


def main():
    lines = subprocess.run(["nm", "-C", "--defined-only", sys.argv[1]], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    sources = [(path.stem, path.read_text(encoding="utf-8")) for path in files(["src"], ".cpp")]
    test = (ROOT / "tests" / "login" / "FirstUseTest.cpp").read_text(encoding="utf-8")
    return report([*check_symbols(lines), *check_tested(sources, test)],
                  f"{len(lines)} symbols, {len(sources)} sources")


if __name__ == "__main__":
    sys.exit(main())
