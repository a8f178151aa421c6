#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every source says which licence it is under, in the first lines, as tools look for it."""

import sys

from cpp_source import ROOT, report

LINE = "SPDX-License-Identifier: MIT"
SUFFIXES = {".h", ".cpp", ".c", ".py", ".sh", ".cmake"}
NAMES = {"CMakeLists.txt", "run"}
FOLDERS = ["bench", "cmake", "devserver", "examples", "fuzz", "include", "scripts", "src", "tests",
           "tools", ".ci"]


def sources():
    for folder in FOLDERS:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.is_file() and (path.suffix in SUFFIXES or path.name in NAMES):
                yield path
    yield ROOT / "CMakeLists.txt"
    yield ROOT / "dev"
    yield ROOT / "debian/rules"


def main():
    paths = list(sources())
    complaints = [f"{path.relative_to(ROOT)} does not say \"{LINE}\" in its first lines" for path in paths
                  if LINE not in "\n".join(path.read_text().splitlines()[:2])]
    return report(complaints, f"licences of {len(paths)} sources")


if __name__ == "__main__":
    sys.exit(main())
