#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every line of docs/decisions.md names a test, and every test that it names exists. Wildcards are refused:
they would match a suite whose tests show something else.

usage: check_decisions.py
"""

import re
import sys

from cpp_source import ROOT, files, report

_TEST = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)
_COMMAND = re.compile(r"add_test\(\s*NAME ([\w/-]+)")
_CHECK = re.compile(r"^orx_add_check\((\w+)", re.MULTILINE)
# A parameterised test may be named with or without its instance: `service/One/A.B`, `service/A.B`.
_NAMED = re.compile(r"`([a-z]+/)(?:\w+/)?([\w.*-]+)`")


def tests_in(folder, text):
    """The names of the tests in one source file, as "formats/XMLParser.RunsOnce"."""
    return {f"{folder}/{suite}.{name}" for suite, name in _TEST.findall(text)}


def program_of(parts):
    """The part of a test's name before the slash: its folder, or its room below platform/."""
    if "secretservice" in parts:
        return "secretservice"
    return parts[1] if parts[0] == "platform" else parts[0]


def all_tests():
    known = set()
    for path in files(["tests"], ".cpp"):
        known |= tests_in(program_of(path.relative_to(ROOT / "tests").parts), path.read_text(encoding="utf-8"))
    for path in (ROOT / "tests").rglob("CMakeLists.txt"):
        text = path.read_text(encoding="utf-8")
        known |= {*_COMMAND.findall(text), *(f"checks/{name}" for name in _CHECK.findall(text))}
    return known


def check_text(text, known):
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("- "):
            continue
        named = [folder + name for folder, name in _NAMED.findall(line.partition(" — ")[2])]
        if not named:
            yield f"docs/decisions.md:{number}: names no test"
        for name in named:
            if "*" in name:
                yield f"docs/decisions.md:{number}: {name} is a pattern, not a test"
            elif name not in known:
                yield f"docs/decisions.md:{number}: there is no test {name}"


def main():
    known = all_tests()
    text = (ROOT / "docs" / "decisions.md").read_text(encoding="utf-8")
    return report(list(check_text(text, known)), f"decisions and {len(known)} tests")


if __name__ == "__main__":
    sys.exit(main())
