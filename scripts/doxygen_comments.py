#!/usr/bin/env python3
"""Prints a header as the documentation generator reads it. A block of `//` lines describes the declaration
right below it; one that stands alone, or before a namespace, describes the file."""

import itertools
import re
import sys

COMMENT = re.compile(r"^\s*//(\s|$)")
LICENCE = re.compile(r"^\s*// SPDX-")
EMPTY = re.compile(r"^\s*//$")
INDENTED = re.compile(r"^\s*//   +(?!- )")
BEHIND_CODE = re.compile(r"(?<=[;,{)]) +// (?=\S)")


def described(block):
    """The lines of a comment; an indented paragraph, a program, is indented as far as the generator asks."""
    is_program = ends_paragraph = False
    for line in block:
        if not EMPTY.match(line):
            is_program = bool(INDENTED.match(line)) and (is_program or ends_paragraph)
        ends_paragraph = bool(EMPTY.match(line))
        yield line.replace("//", "///    " if is_program else "///", 1)


def converted(lines):
    blocks = [(is_comment, list(block)) for is_comment, block
              in itertools.groupby(lines, lambda line: bool(COMMENT.match(line)))]
    for index, (is_comment, block) in enumerate(blocks):
        if not is_comment:
            yield from (BEHIND_CODE.sub(" ///< ", line) for line in block)
        elif LICENCE.match(block[0]):
            yield from block
        else:
            below = blocks[index + 1][1][0] if index + 1 < len(blocks) else ""
            if not below.strip() or below.startswith("namespace"):
                yield "/// @file\n"
            yield from described(block)


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        sys.stdout.writelines(converted(header))


if __name__ == "__main__":
    main()
