#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints a header as the documentation generator reads it, each declaration in the line where it was.

A block of `//` lines describes the declaration right below it. Where it begins a paragraph, the declarations
that follow without another comment refer to that one; a setter refers to its getter everywhere. A block that
stands alone, or before a namespace, describes the file; within a class it is the heading of what follows, up
to the private part. Comments in the bodies of functions stay what they are.
"""

import re
import sys

COMMENT = re.compile(r"\s*//(\s|$)")
LICENCE = re.compile(r"\s*// SPDX-")
EMPTY = re.compile(r"\s*//$")
INDENTED = re.compile(r"\s*//   +(?!- )")
BEHIND_CODE = re.compile(r"(?<=[;,{)]) +// (?=\S)")
# The line that opens the braces around declarations, rather than those around code.
OPENS_DECLARATIONS = re.compile(r"\b(class|struct|enum|namespace|public|extern)\b")
# What begins with these words is no declaration of its own, or is described elsewhere.
NO_NAME = re.compile(r"\s*(class|struct|enum|namespace|friend|private|public|template|extern|virtual ~|[})~]"
                     r"|#(?!define))")
NAME = re.compile(r"#define (\w+)|using (\w+)|(operator)|(\w+\()|(\w+) ?(?:=|;|\{)")


def indentation(line):
    return len(line) - len(line.lstrip())


def name_in(line):
    """The name that a line declares, with "(" for a function; None when it declares none."""
    if NO_NAME.match(line):
        return None
    found = NAME.search(line)
    return found and next(name for name in found.groups() if name)


def described(block):
    """The lines of a comment; an indented paragraph, a program, is indented as far as the generator asks."""
    is_program = ends_paragraph = False
    for line in block:
        if not EMPTY.match(line):
            is_program = bool(INDENTED.match(line)) and (is_program or ends_paragraph)
        ends_paragraph = bool(EMPTY.match(line))
        yield line.replace("//", "///    " if is_program else "///", 1)


def heading(block):
    text = " ".join(line.strip()[2:].strip() for line in block).removeprefix("From here on: ")
    return [f"/// @name {text[0].upper()}{text[1:]}\n", *["\n"] * (len(block) - 1)]


class Header:
    def __init__(self):
        self.printed = []
        self.braces = []  # Of each open pair, whether code is in it.
        self.described_name = None  # What the comment above a run of declarations is about.
        self.begins_paragraph = False  # That comment does.
        self.is_below_comment = False
        self.ends_declaration = False
        self.heading = ""  # "begun" until its blank line has come, then "open".

    def refers(self, name):
        """Whether the comment above a run of declarations is about this one too."""
        described = self.described_name
        if not name or not described or name in (described, "operator"):
            return False
        return self.begins_paragraph or name.lower() == f"set{described.lower()}"

    def is_in_code(self):
        return any(self.braces)

    def count_braces(self, line):
        difference = line.count("{") - line.count("}")
        self.braces += [not OPENS_DECLARATIONS.search(line)] * difference
        del self.braces[len(self.braces) + min(difference, 0):]

    def replace_blank(self, line):
        """Instead of the blank line above, so that what follows stays where it was."""
        if self.printed and not self.printed[-1].strip():
            self.printed.pop()
        self.printed.append(line)

    def add_comment(self, block, below):
        if LICENCE.match(block[0]) or self.is_in_code():
            self.printed += block
        elif not below.strip() and indentation(block[0]):
            self.printed += heading(block)
            self.heading = "begun"
        else:
            above = self.printed[-1].strip() if self.printed else ""
            self.begins_paragraph = not above or above == "///@{" or above.endswith(("{", ":"))
            if not below.strip() or below.startswith("namespace"):
                self.replace_blank("/// @file\n")
            self.printed += described(block)
        self.is_below_comment = True

    def add_blank(self):
        self.printed.append("///@{\n" if self.heading == "begun" else "\n")
        self.heading = self.heading and "open"
        self.described_name = None
        self.is_below_comment = False

    def add_code(self, line):
        is_in_code = self.is_in_code()
        self.count_braces(line)
        if not is_in_code:
            line = BEHIND_CODE.sub(" ///< ", line)
            name = name_in(line)
            if self.heading and line.strip() == "private:":
                self.replace_blank("///@}\n")
                self.heading = ""
            elif self.is_below_comment:
                self.described_name = name
            elif self.ends_declaration and "///<" not in line and self.refers(name):
                line = f"/** See {self.described_name.replace('(', '()')}. */ {line}"
            self.is_below_comment = False
        self.ends_declaration = not self.is_in_code() and (
            line.rstrip().endswith((";", "}")) or "; ///<" in line or "#define" in line)
        self.printed.append(line)

    def add(self, lines):
        block = []
        for index, line in enumerate(lines):
            if COMMENT.match(line):
                block.append(line)
                below = lines[index + 1] if index + 1 < len(lines) else ""
                if not COMMENT.match(below):
                    self.add_comment(block, below)
                    block = []
            elif line.strip():
                self.add_code(line)
            else:
                self.add_blank()
        return self.printed


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        sys.stdout.writelines(Header().add(header.readlines()))


if __name__ == "__main__":
    main()
