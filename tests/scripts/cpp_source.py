# SPDX-License-Identifier: MIT
"""Reads C++ as far as the checks need it: removes comments and literals, matches braces, finds includes."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

_TOKENS = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|'
    r"(?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])*'",
    re.DOTALL)


def bare(text):
    """The text without comments and preprocessor lines, and with empty literals; every line keeps its
    number."""

    def replacement(match):
        lines = "\n" * match.group().count("\n")
        return ('""' if match.group().lstrip("R")[0] == '"' else "") + lines

    text = _TOKENS.sub(replacement, text)
    return re.sub(r"^[ \t]*#(?:\\\n|[^\n])*", "", text, flags=re.MULTILINE)


def matching(text, start, opening="{", closing="}"):
    """The position of the bracket that closes the one at `start`."""
    depth = 0
    for at in range(start, len(text)):
        if text[at] == opening:
            depth += 1
        elif text[at] == closing:
            depth -= 1
            if depth == 0:
                return at
    raise ValueError("a bracket is never closed")


def includes(text):
    """(line number, included name, whether in quotes) of every include."""
    for number, line in enumerate(text.splitlines(), 1):
        found = re.match(r'\s*#\s*include\s*(["<])([^">]+)[">]', line)
        if found:
            yield number, found.group(2), found.group(1) == '"'


def circles(graph):
    """The circles of a graph {node: its targets}, each as the set of nodes that reach each other."""

    def reached(start):
        seen, ahead = set(), [start]
        while ahead:
            for target in graph.get(ahead.pop(), ()):
                if target not in seen:
                    seen.add(target)
                    ahead.append(target)
        return seen

    reach = {node: reached(node) - {node} for node in graph}
    found = {frozenset(other for other in reach[node] if node in reach[other]) | {node}
             for node in graph}
    return sorted((circle for circle in found if len(circle) > 1), key=sorted)


def files(folders, *endings, root=ROOT):
    for folder in folders:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in endings and path.is_file():
                yield path


def report(complaints, what):
    """Prints the complaints; returns the exit code."""
    for complaint in complaints:
        print(complaint)
    print(f"{what}: {len(complaints)} complaints")
    return 1 if complaints else 0
