#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints a page as the documentation generator reads it: each heading gets the anchor that a code host gives it,
and links lead to these anchors; a link to a file that is no page of the site becomes plain text."""

import os
import re
import sys
from pathlib import Path

HEADING = re.compile(r"^(#{2,3}) (.*)$")
LINK = re.compile(r"(?<!!)\[([^\]]+)\]\(([^):]+)\)")


def slug(heading):
    """As code hosts make an anchor of a heading."""
    return re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")


def anchor(page, name):
    """Unlike a code host's, unique among all pages."""
    return f"{page.stem}_{name}"


def linked(page, link):
    text, target = link.groups()
    path, _, name = target.partition("#")
    place = Path(os.path.normpath(page.parent / path)) if path else page
    if place.suffix != ".md":
        return text
    if name:
        return f"[{text}](#{anchor(place, name)})"
    return link.group()


def converted(page, lines):
    is_code = False
    for line in lines:
        is_code ^= line.startswith("```")
        heading = HEADING.match(line)
        if is_code:
            yield line
        elif heading:
            yield f"{line.rstrip()} {{#{anchor(page, slug(heading[2]))}}}\n"
        else:
            yield LINK.sub(lambda link: linked(page, link), line)


def main():
    page = Path(sys.argv[1])
    with page.open(encoding="utf-8") as lines:
        sys.stdout.writelines(converted(page, lines))


if __name__ == "__main__":
    main()
