#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs everything that takes longer than the tests, and writes what came of it to docs/check.md.

A part that has passed runs again only when a file that it depends on has changed since. A part that fails, or that
has not ended after hours, stops none of the others. What a part prints lies in build/check/PART.log too. Exits with
1 when one has failed.
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

LOGS = ROOT / "build" / "check"
# Of any part, on a slow machine. What has not ended by then hangs.
LONGEST = "4h"

# Of every part: the command itself, and the packages that it installs.
COMMAND = ("dev", "scripts/packages.sh")
LIBRARY = COMMAND + ("src/*", "include/*", "cmake/*", "CMakeLists.txt", "CMakePresets.json", "scripts/build.sh")
PROGRAMS = LIBRARY + ("tests/*", "devserver/*", "tools/*", "examples/*", "fuzz/*", "bench/*")
TESTS = r"\d+ tests failed out of \d+"


@dataclass(frozen=True)
class Part:
    name: str
    command: str
    what: str
    files: tuple
    # What to tell of the output: all that the pattern matches. Where it has a group of digits, the sum of these,
    # followed by the unit.
    counted: str = ""
    unit: str = ""


PARTS = [
    Part("memory", "./dev sanitize address,undefined", "every test with two sanitizers", PROGRAMS, TESTS),
    Part("races", "./dev sanitize thread", "every test with the thread sanitizer",
         PROGRAMS + ("scripts/thread-sanitizer.supp",), TESTS),
    Part("valgrind", "./dev valgrind", "reading, storing and calling under valgrind",
         PROGRAMS + ("scripts/valgrind.*",), r"\d+ of \d+ tests passed"),
    Part("lint", "./dev lint", "clang-tidy and clang-format over every source",
         PROGRAMS + (".clang-tidy", ".clang-format", "scripts/lint.py"), r"of (\d+) sources", "sources"),
    Part("coverage", "./dev coverage", "lines ≥ 97 %, branches ≥ 88 % of `src/`", PROGRAMS,
         r"(?m)^(?:lines|branches): [\d.]+%"),
    Part("corpora", "./dev fuzz --corpora", "the inputs that fuzzing has kept, with the address sanitizer",
         LIBRARY + ("fuzz/*", "tests/oracles/*", "tests/support/*", "devserver/*", "tools/*", "scripts/fuzz.py"),
         r"seed corpus: files: (\d+)", "inputs"),
    Part("torture", "./dev torture", "kills, faults, damage, crowds, the wire and memory",
         LIBRARY + ("tests/torture/*", "tests/platform/keychain/secretservice/service/*", "devserver/*"),
         r"(?m)^\w+: (\d+) \(", "trials"),
    Part("soak", "./dev torture soak 60", "an hour of 32 threads that do everything at once",
         LIBRARY + ("tests/torture/*", "devserver/*"), r"(?m)^soak: (\d+) \(", "calls"),
    # All again: a test that noticed a fault may have been edited since.
    Part("mutants", "./dev mutate --seed 1 --count 20 --again all", "small faults, each noticed by a test",
         PROGRAMS + ("scripts/mutat*", "docs/mutation.md"), r"\d+ faults, \d+ killed"),
    Part("compilers", "./dev compilers", "eleven compilers and settings, two equal builds",
         LIBRARY + ("devserver/*", "tools/*", "examples/*", "scripts/compilers.sh")),
    Part("packages", "./dev package", "Debian packages on a fresh Debian",
         LIBRARY + ("devserver/*", "tools/*", "examples/*", "debian/*", "tests/install/*",
                    "scripts/package.sh", "scripts/sbom.py", "README.md")),
    Part("docs", "./dev docs", "the site, without a warning",
         COMMAND + ("include/*", "docs/*", "*.md", "scripts/doxygen_*.py")),
    Part("abi", "./dev abi", "the library's interface against the recorded one",
         LIBRARY + ("abi/*", "scripts/abi.sh")),
]

HEAD = """# What has been checked beyond the tests

Written by `./dev check`. A row stands for the files that its part depends on, as they were at that commit: it
runs again when one of them has changed (the last column is their digest).

| part | command | what | result | count | minutes | commit | date | files |
|---|---|---|---|---|---:|---|---|---|
"""


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=True).stdout


def digest_of(part):
    """Of the tracked files that the part depends on, as they lie in the folder now."""
    digest = hashlib.sha256(part.command.encode())
    for name in sorted(output_of("git", "ls-files", "-z").split("\0")):
        path = ROOT / name
        if path.is_file() and path != REPORT and any(fnmatch.fnmatch(name, pattern) for pattern in part.files):
            digest.update(name.encode() + b"\0" + path.read_bytes() + b"\0")
    return digest.hexdigest()[:12]


def rows_in(report):
    """The rows of an earlier run, by the name of their part."""
    rows = {}
    for line in report.read_text().splitlines() if report.exists() else ():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line.strip("|"))]
        if line.startswith("| ") and len(cells) == 9 and cells[0] != "part":
            rows[cells[0]] = cells
    return rows


def commit():
    changed = output_of("git", "status", "--porcelain", "--untracked-files=no", "--", ".",
                        ":!docs").strip()
    return output_of("git", "rev-parse", "--short", "HEAD").strip() + (" and changes" if changed else "")


def count_in(part, output):
    found = re.findall(part.counted, output) if part.counted else []
    if found and all(count.isdigit() for count in found):
        return f"{sum(map(int, found)):,} {part.unit}"
    return ", ".join(dict.fromkeys(found))


def perform(part):
    """Whether the part passed, and what it printed, which is shown and logged while it runs."""
    lines = []
    LOGS.mkdir(parents=True, exist_ok=True)
    with (open(LOGS / f"{part.name}.log", "w") as log,
          subprocess.Popen(["timeout", "--kill-after=60", LONGEST, "bash", "-c", part.command], cwd=ROOT, text=True,
                           errors="replace", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT) as process):
        for line in process.stdout:
            print(line, end="", flush=True)
            log.write(line)
            log.flush()
            lines.append(line)
    return process.returncode == 0, "".join(lines)


def row_of(part):
    """Runs the part. What is edited meanwhile makes it due again."""
    begin, at, digest = time.monotonic(), commit(), digest_of(part)
    passed, output = perform(part)
    minutes = (time.monotonic() - begin) / 60
    return [part.name, f"`{part.command}`", part.what, "passed" if passed else "**failed**", count_in(part, output),
            f"{minutes:.1f}", at, datetime.date.today().isoformat(), digest]


def write(rows, report):
    order = [part.name for part in PARTS]
    names = sorted(rows, key=lambda name: order.index(name) if name in order else len(order))
    report.write_text(HEAD + "".join("| " + " | ".join(rows[name]) + " |\n" for name in names))


def is_due(part, row):
    return row is None or row[3] != "passed" or row[8] != digest_of(part)


def run(parts, report, every=False):
    """Runs the due ones of `parts` and returns the names of those that failed."""
    failed = []
    for part in parts:
        if not every and not is_due(part, rows_in(report).get(part.name)):
            print(f"== {part.name}: passed, and nothing has changed since", flush=True)
            continue
        print(f"== {part.name}: {part.command}", flush=True)
        row = row_of(part)
        # After each part, so that a run that is broken off loses nothing; to what the report has by then, so
        # that parts can run side by side.
        write(rows_in(report) | {part.name: row}, report)
        if row[3] != "passed":
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
