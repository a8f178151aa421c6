# SPDX-License-Identifier: MIT
"""Small faults that can be planted in one C++ source, found by reading its text."""

import re
from dataclasses import dataclass

_NO_CODE = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|'
    r"(?<![0-9A-Za-z_])'(?:\\.|[^'\\\n])*'|^[ \t]*\#(?:\\\n|[^\n])*",
    re.DOTALL | re.MULTILINE)

# A pattern to find in code whose literals are blanked, and the text that replaces its group 1.
_EXCHANGES = [
    ("comparison", r" (==|!=|<|<=|>|>=)(?=\s)",
     {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}),
    ("logic", r"(?<=\s)(&&|\|\|)(?=\s)", {"&&": "||", "||": "&&"}),
    ("arithmetic", r"\s([-+*/%]|[-+]=|<<|>>|[&|])(?=\s)",
     {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "+=": "-=", "-=": "+=", "<<": ">>",
      ">>": "<<", "&": "|", "|": "&"}),
    ("step", r"(\+\+|--)(?=[\w(*])", {"++": "--", "--": "++"}),
    ("boolean", r"\b(true|false)\b", {"true": "false", "false": "true"}),
    ("negation", r"(?<=[\s(])(!)(?=[\w(*:])", {"!": ""}),
    ("extreme", r"\b(?:std::|::)(min|max)\b", {"min": "max", "max": "min"}),
    ("branch", r"\s(\?)(?=\s)", {"?": "&& false ?"}),
    ("branch", r"\s(\?)(?=\s)", {"?": "|| true ?"}),
    ("loop", r"\b(break|continue);", {"break": "continue", "continue": "break"}),
]
_NUMBER = re.compile(r"(?<![\w.'])(0[xX][\da-fA-F']+|\d[\d']*)(?=[uUlLzZ]*\b)(?![.'])")
_CONDITION = re.compile(r"\b(if|while) \(")
_RETURN = re.compile(r"\breturn ([^;{}]+);")
_LOCK = re.compile(r"^[ ]*(?:const )?(?:std::(?:lock_guard|scoped_lock|unique_lock)|Creation)\b[^;=]*;",
                   re.MULTILINE)
# A statement that is a call, or an assignment to something declared elsewhere.
_STATEMENT = re.compile(
    r"(?:(?<=[;{}])|(?<=\) )|(?<=else ))\s*((?!return\b|throw\b|if\b|for\b|while\b|switch\b|do\b|using\b|"
    r"static_assert\b|case\b|break\b|continue\b)"
    r"(?:\*|\(void\))?[A-Za-z_][\w:.<>\[\]]*(?:->[\w.]+)*(?:\(|\[| [-+|&*/]?= |\+\+;|--;))")
_DECLARES = re.compile(r"^\s*(?:static_assert|using|namespace|template|#include|extern|friend)\b")


@dataclass(frozen=True)
class Mutant:
    """A fault: the text between two offsets of a file and its replacement."""
    kind: str
    line: int
    begin: int
    end: int
    new: str
    old_line: str
    new_line: str

    def applied_to(self, text):
        return text[:self.begin] + self.new + text[self.end:]


def blanked(text):
    """The text with comments, literals and directives replaced by spaces, so that offsets stay the same."""
    return _NO_CODE.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), text)


def _closing(code, start):
    depth = 0
    for at in range(start, len(code)):
        depth += (code[at] in "([{") - (code[at] in ")]}")
        if depth == 0:
            return at
    return len(code) - 1


def _statement_end(code, start):
    """The offset of the semicolon of the statement that begins here; None when it has none."""
    at = start
    while at < len(code):
        if code[at] in "([{":
            at = _closing(code, at)
        elif code[at] in ")]}":
            return None
        elif code[at] == ";":
            return at
        at += 1
    return None


def _exchanges(code):
    for kind, pattern, into in _EXCHANGES:
        for found in re.finditer(pattern, code):
            if code[:found.start(1)].rstrip().endswith("operator"):
                continue
            yield kind, found.start(1), found.end(1), into[found.group(1)]


def _constants(code):
    for found in _NUMBER.finditer(code):
        digits = found.group(1).replace("'", "").lower()
        value = int(digits, 16 if digits.startswith("0x") else 8 if digits.startswith("0") else 10)
        yield "constant", found.start(1), found.end(1), str(value + 1)
        if value > 1:
            yield "constant", found.start(1), found.end(1), str(value - 1)


def _branches(code):
    """Faults that make a condition always or never hold, except for one that declares a variable."""
    for found in _CONDITION.finditer(code):
        begin, end = found.end(), _closing(code, found.end() - 1)
        semicolon = code.rfind(";", begin, end)
        begin = begin if semicolon < 0 else semicolon + 2
        condition = code[begin:end]
        if re.search(r"(?<![=!<>])=(?!=)", condition):
            continue
        yield "branch", begin, end, "false && ({})"
        if found.group(1) == "if":
            yield "branch", begin, end, "true || ({})"


def _results(code):
    for found in _RETURN.finditer(code):
        if not re.fullmatch(r"\s*(true|false|nullptr|\d+|std::nullopt|\*this)?\s*", found.group(1)):
            yield "result", found.start(1), found.end(1), "{}"


def _left_out(code):
    for found in _LOCK.finditer(code):
        begin = found.start() + len(found.group()) - len(found.group().lstrip())
        yield "lock", begin, found.end(), ";"
    for found in _STATEMENT.finditer(code):
        end = _statement_end(code, found.start(1))
        if end is not None:
            yield "statement", found.start(1), end + 1, ";"


def _line_around(text, begin, end):
    first = text.rfind("\n", 0, begin) + 1
    last = text.find("\n", end)
    return first, len(text) if last < 0 else last


def mutants_of(text):
    """Every fault that can be planted in this source, in the order of its text."""
    code = blanked(text)
    seen = {}
    for find in (_exchanges, _constants, _branches, _results, _left_out):
        for kind, begin, end, new in find(code):
            first, last = _line_around(text, begin, end)
            if _DECLARES.match(text[first:last]):
                continue
            new = new.replace("{}", text[begin:end], 1) if kind == "branch" else new
            old_line = " ".join(text[first:last].split())
            new_line = " ".join((text[first:begin] + new + text[end:last]).split())
            if new_line != old_line:
                line = text.count("\n", 0, begin) + 1
                seen.setdefault((begin, new_line),
                                Mutant(kind, line, begin, end, new, old_line, new_line))
    return sorted(seen.values(), key=lambda mutant: (mutant.begin, mutant.new))
