#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs everything that takes longer than the tests, and writes what came of it to docs/check.md.

A part that has passed runs again only when a file that it depends on has changed since. A part that fails
stops none of the others. Exits with 1 when one has failed.
"""

import argparse
import datetime
import fnmatch
import hashlib
import re
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
REPORT = ROOT / "docs" / "check.md"

LIBRARY = ("src/*", "include/*", "cmake/*", "CMakeLists.txt", "CMakePresets.json")
PROGRAMS = LIBRARY + ("tests/*", "devserver/*", "tools/*", "examples/*", "fuzz/*", "bench/*")


@dataclass(frozen=True)
class Part:
    name: str
    command: str
    what: str
    files: tuple


PARTS = [
    Part("memory", "./dev sanitize address,undefined", "every test with two sanitizers", PROGRAMS),
    Part("races", "./dev sanitize thread", "every test with the thread sanitizer",
         PROGRAMS + ("scripts/thread-sanitizer.supp",)),
    Part("valgrind", "./dev valgrind", "reading, storing and calling under valgrind",
         PROGRAMS + ("scripts/valgrind.*",)),
    Part("lint", "./dev lint", "clang-tidy and clang-format over every source",
         PROGRAMS + (".clang-tidy", ".clang-format")),
    Part("coverage", "./dev coverage", "lines ≥ 97 %, branches ≥ 88 % of `src/`", PROGRAMS),
    Part("corpora", "./dev fuzz --corpora", "the inputs that fuzzing has kept, with two sanitizers",
         LIBRARY + ("fuzz/*", "tests/oracles/*", "devserver/*", "tools/*")),
    Part("torture", "./dev torture", "kills, faults, damage and crowds", LIBRARY + ("tests/torture/*",)),
    Part("mutants", "./dev mutate --seed 1 --count 20", "small faults, each noticed by a test", PROGRAMS),
    Part("compilers", "./dev compilers", "eleven compilers and settings, two equal builds",
         LIBRARY + ("devserver/*", "tools/*", "scripts/compilers.sh")),
    Part("packages", "./dev package", "Debian packages on a fresh Debian",
         LIBRARY + ("devserver/*", "tools/*", "examples/*", "debian/*", "tests/install/*")),
    Part("abi", "./dev abi", "the library's interface against the recorded one", LIBRARY + ("abi/*",)),
]

HEAD = """# What has been checked beyond the tests

Written by `./dev check`. A row stands for the files that its part depends on, as they were at that commit: it
runs again when one of them has changed (the last column is their digest).

| part | command | what | result | minutes | commit | date | files |
|---|---|---|---|---:|---|---|---|
"""


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=True).stdout


def digest_of(part):
    """Of the tracked files that the part depends on, as they lie in the folder now."""
    digest = hashlib.sha256(part.command.encode())
    for name in sorted(output_of("git", "ls-files", "-z").split("\0")):
        path = ROOT / name
        if path.is_file() and any(fnmatch.fnmatch(name, pattern) for pattern in part.files):
            digest.update(name.encode() + b"\0" + path.read_bytes() + b"\0")
    return digest.hexdigest()[:12]


def rows_of(text):
    """The rows of an earlier report, by the name of their part."""
    rows = {}
    for line in text.splitlines():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line.strip("|"))]
        if line.startswith("| ") and len(cells) == 8 and cells[0] != "part":
            rows[cells[0]] = cells
    return rows


def commit():
    changed = output_of("git", "status", "--porcelain", "--untracked-files=no", "--", ".",
                        ":!docs").strip()
    return output_of("git", "rev-parse", "--short", "HEAD").strip() + (" and changes" if changed else "")


def row_of(part, passed, seconds):
    return [part.name, f"`{part.command}`", part.what, "passed" if passed else "**failed**",
            f"{seconds / 60:.1f}", commit(), datetime.date.today().isoformat(), digest_of(part)]


def write(rows, report):
    report.write_text(HEAD + "".join("| " + " | ".join(cells) + " |\n" for cells in rows.values()))


def run(parts, report, every=False):
    """Runs the due ones of `parts` and returns the names of those that failed."""
    rows = rows_of(report.read_text()) if report.exists() else {}
    failed = []
    for part in parts:
        row = rows.get(part.name)
        if not every and row and row[3] == "passed" and row[7] == digest_of(part):
            print(f"== {part.name}: passed, and nothing has changed since", flush=True)
            continue
        print(f"== {part.name}: {part.command}", flush=True)
        begin = time.monotonic()
        passed = subprocess.run(part.command, shell=True, cwd=ROOT, check=False).returncode == 0
        rows[part.name] = row_of(part, passed, time.monotonic() - begin)
        # After each part, so that a run that is broken off loses nothing.
        write(rows, report)
        if not passed:
            failed.append(part.name)
    return failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("parts", nargs="*", metavar="PART",
                        help="run these only: " + " ".join(part.name for part in PARTS))
    parser.add_argument("--all", action="store_true", help="also what has not changed since it passed")
    options = parser.parse_args()
    unknown = set(options.parts) - {part.name for part in PARTS}
    if unknown:
        parser.error(f"there is no part {', '.join(sorted(unknown))}")
    failed = run([part for part in PARTS if not options.parts or part.name in options.parts], REPORT,
                 options.all)
    print(REPORT.read_text())
    if failed:
        sys.exit(f"failed: {', '.join(failed)}")


if __name__ == "__main__":
    main()
