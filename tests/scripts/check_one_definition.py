#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""No two types of one test program have the same full name: the linker would silently use the functions of
one for both. Types in unnamed namespaces and inside of functions cannot collide.

usage: check_one_definition.py
"""

import re
import sys

from check_decisions import program_of
from cpp_source import ROOT, bare, files, matching, report

_SCOPE = re.compile(
    r"\b(namespace)\b\s*([\w:]*)\s*\{"
    r"|\b(struct|class|union|enum(?: class)?)\s+(?:ORX_EXPORT\s+)?([\w:]+)\s*(?:final\s*)?(?::[^;{}()]*)?\{"
    r"|([;{}])")


def types_of(text):
    """The full names of the types in this text that could collide with those of other files."""
    code = bare(text)
    at, scopes = 0, []
    while found := _SCOPE.search(code, at):
        at = found.end()
        if found.group(5) == "}":
            if scopes:
                scopes.pop()
        elif found.group(5) == "{":
            at = matching(code, at - 1) + 1
        elif found.group(1):
            if found.group(2):
                scopes.append(found.group(2))
            else:
                at = matching(code, at - 1) + 1
        elif found.group(4):
            yield "::".join([*scopes, found.group(4)])
            at = matching(code, at - 1) + 1


def check_programs(sources):
    """`sources`: (program, file, text); files of the program "support" are part of every program."""
    places = {}
    for program, file, text in sources:
        for name in types_of(text):
            places.setdefault(name, []).append((program, file))
    for name, found in sorted(places.items()):
        for at, (program, file) in enumerate(found):
            for other, second in found[at + 1:]:
                if program == other or "support" in (program, other):
                    yield f"{file} and {second} both define {name}"


def main():
    sources = [(program_of(path.relative_to(ROOT / "tests").parts), path.relative_to(ROOT),
                path.read_text(encoding="utf-8"))
               for path in files(["tests"], ".cpp", ".h")]
    # The library and the development service are in every program as well.
    sources += [("support", path.relative_to(ROOT), path.read_text(encoding="utf-8"))
                for path in files(["src", "include", "devserver"], ".cpp", ".h")]
    return report(list(check_programs(sources)), f"{len(sources)} files")


if __name__ == "__main__":
    sys.exit(main())
