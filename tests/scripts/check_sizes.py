#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Files of at most 400 lines, functions of at most 60; the rows of a table are data and not counted."""

import re
import sys

from cpp_source import ROOT, bare, files, matching, report

FILE_LINES = 400
FUNCTION_LINES = 60
FOLDERS = ("include", "src", "devserver", "tools", "examples", "fuzz", "tests", "scripts", "bench")

_SCOPE = re.compile(r"\b(namespace|class|struct|union|enum|extern)\b[^()=]*$")
_ROW = re.compile(r"^\s*\{.*\},?$", re.MULTILINE)


def functions(text):
    """(first line, number of lines) of every function; a lambda counts with the function around it."""
    text = bare(text)
    at = 0
    begin = 0
    while at < len(text):
        letter = text[at]
        if letter in ";}":
            begin = at + 1
        elif letter == "{":
            before = text[begin:at].strip()
            if _SCOPE.search(before) and not before.endswith(")"):
                begin = at + 1
            else:
                end = matching(text, at)
                if "(" in before and not before.endswith("="):
                    first = begin + len(text[begin:at]) - len(text[begin:at].lstrip())
                    rows = len(_ROW.findall(text[at + 1:end]))
                    yield text.count("\n", 0, first) + 1, text.count("\n", first, end) + 1 - rows
                at = end
                if not before.endswith("="):
                    begin = at + 1
        at += 1


def check_text(place, text, is_cpp):
    lines = text.count("\n")
    if lines > FILE_LINES:
        yield f"{place}: {lines} lines, more than {FILE_LINES}"
    if is_cpp:
        for line, length in functions(text):
            if length > FUNCTION_LINES:
                yield f"{place}:{line}: a function of {length} lines, more than {FUNCTION_LINES}"


def main():
    complaints = []
    seen = 0
    for path in files(FOLDERS, ".h", ".cpp", ".py", ".sh"):
        is_cpp = path.suffix in (".h", ".cpp")
        text = path.read_text()
        complaints += check_text(path.relative_to(ROOT), text, is_cpp)
        seen += sum(1 for _ in functions(text)) if is_cpp else 0
    if seen < 100:
        complaints.append(f"only {seen} functions were found: this check does not see them")
    return report(complaints, f"sizes of {seen} functions")


if __name__ == "__main__":
    sys.exit(main())
