#!/usr/bin/env python3
"""No object of the library is made behind a guard of the compiler's: a child that is forked while
another thread is making it would wait for ever. ProcessWide makes such objects, and a test makes
each of them amid forks: the name of its source stands in that test.

usage: check_first_uses.py STATIC_LIBRARY
"""

import re
import subprocess
import sys

from cpp_source import ROOT, bare, files, report

GUARD = re.compile(r"guard variable for (orx::.*)")
# Read with the transfer engine's mutex held, which a fork waits for.
ALLOWED = "systemBundleIsReadable()"


def check_symbols(lines):
    for line in lines:
        found = GUARD.search(line)
        if found and ALLOWED not in line:
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
