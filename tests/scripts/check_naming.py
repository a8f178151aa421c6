#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Public operations carry their keyword names: a colon between two words became an underscore, so a
name has as many words as the operation has parameters and can be read backwards."""

import re
import sys

from cpp_source import ROOT, bare, files, matching, report

# Free functions of the platform, whose names have no colons to map.
FUNCTIONS = {"SecItemAdd", "SecItemUpdate", "SecItemDelete", "SecItemCopyMatching"}
# What `co_await` calls by name.
AWAITERS = {"await_ready", "await_suspend", "await_resume"}
# Value types, whose members have plain names, as those of the standard library's containers.
VALUE_TYPES = {"Value", "Array", "Dictionary", "DictionaryEntry", "Data", "Observation",
               "URLSessionConfiguration"}
# The property whose setter is not called "set" and the getter's name.
SETTERS = {"setTargetServerWithIsCN": "targetServerIsCN"}


def parameter_count(text):
    """Parameters between a pair of parentheses; commas inside brackets do not count."""
    if not text.strip():
        return 0
    depth = 0
    count = 1
    for letter in text:
        depth += letter in "(<{["
        depth -= letter in ")>}]"
        count += letter == "," and depth == 0
    return count


def statements(body):
    """The declarations directly inside a class body, without the bodies of functions."""
    statement = ""
    at = 0
    while at < len(body):
        letter = body[at]
        if letter == "(":
            end = matching(body, at, "(", ")")
            statement += body[at:end + 1]
            at = end
        elif letter == "{":
            end = matching(body, at)
            if statement.rstrip().endswith(")") or re.search(r"\)\s*(const|noexcept|override|\s)*$",
                                                             statement):
                yield statement
                statement = ""
            else:
                statement += "{}"
            at = end
        elif letter == ";":
            yield statement
            statement = ""
        else:
            statement += letter
        at += 1


def classes(text):
    """(name, public declarations) of every class and struct that is defined."""
    for found in re.finditer(r"\b(class|struct)\s+(?:ORX_EXPORT\s+)?(\w+)[^;{}()]*\{", text):
        start = found.end() - 1
        body = text[start + 1:matching(text, start)]
        visible = found.group(1) == "struct"
        for statement in statements(body):
            while access := re.match(r"\s*(public|private|protected)\s*:", statement):
                visible = access.group(1) == "public"
                statement = statement[access.end():]
            if visible:
                yield found.group(2), statement


def operation(statement):
    """(name, number of parameters) when the declaration is a named operation."""
    statement = re.sub(r"\[\[\w+\]\]", "", statement).strip()
    if re.match(r"(using|friend|template|explicit|typedef|enum)\b", statement):
        return None
    if "operator" in statement or "~" in statement:
        return None
    depth = 0
    for at, letter in enumerate(statement):
        depth += letter == "<"
        depth -= letter == ">"
        if letter == "(" and depth == 0:
            name = re.search(r"(\w+)\s*$", statement[:at])
            if not name or name.start() == 0:
                return None
            return name.group(1), parameter_count(statement[at + 1:matching(statement, at, "(",
                                                                            ")")])
    return None


def check_operation(owner, name, count):
    words = name.split("_")
    if name in FUNCTIONS | AWAITERS or owner in VALUE_TYPES or name == owner:
        return
    if any(not re.fullmatch(r"[A-Za-z][A-Za-z0-9]*", word) for word in words):
        yield f"{owner}::{name} cannot be read back as keywords"
    elif len(words) > 1 and len(words) != count:
        yield f"{owner}::{name} has {len(words)} words and {count} parameters"
    elif len(words) == 1 and count > 1:
        yield f"{owner}::{name} has one word and {count} parameters"


def check_text(text):
    getters = set()
    setters = []
    for owner, statement in classes(bare(text)):
        found = operation(statement)
        if not found:
            continue
        name, count = found
        yield from check_operation(owner, name, count)
        if count == 0:
            getters.add((owner, name))
        property_name = re.fullmatch(r"set([A-Z]\w*)", name)
        if property_name and "_" not in name and owner not in VALUE_TYPES:
            setters.append((owner, name, property_name.group(1)))
    for owner, name, stem in setters:
        getter = SETTERS.get(name)
        candidates = {getter} if getter else {stem[0].lower() + stem[1:]}
        if not any((owner, candidate) in getters for candidate in candidates):
            yield f"{owner}::{name} sets a property that has no getter"


def main():
    complaints = []
    operations = 0
    for path in files(["include"], ".h"):
        text = path.read_text()
        operations += sum(operation(statement) is not None for _, statement in classes(bare(text)))
        complaints += [f"{path.relative_to(ROOT)}: {complaint}" for complaint in check_text(text)]
    if operations < 100:
        complaints.append(f"only {operations} operations were found: this check does not see them")
    return report(complaints, f"naming of {operations} operations")


if __name__ == "__main__":
    sys.exit(main())
