#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The README is up to date: its program is the example that is built, and its commands, options and exit
codes are those of ./dev and the command line.

usage: check_readme.py ORXACCOUNT
"""

import re
import subprocess
import sys

from cpp_source import ROOT, report


def check_program(readme, program):
    blocks = re.findall(r"^```cpp\n(.*?)^```$", readme, re.DOTALL | re.MULTILINE)
    # Without the line that says its licence.
    if program.split("\n", 1)[1] not in blocks:
        yield "the program in README.md differs from examples/host.cpp"


def check_commands(readme, usage):
    known = set(re.findall(r"^  ([a-z]+)\b", usage, re.MULTILINE))
    for command in sorted(set(re.findall(r"\./dev ([a-z]+)", readme))):
        if command not in known:
            yield f"README.md names ./dev {command}, which is not a command"


def check_tool_commands(readme, usage):
    known = set(re.findall(r"^  ([a-z][a-z0-9-]+) ", usage[usage.find("Subcommands:"):],
                           re.MULTILINE))
    if len(known) < 10:
        yield "the command line lists no subcommands"
    for command in sorted(known):
        if f"`{command}" not in readme:
            yield f"README.md does not name the command {command}"
    for option in sorted(set(re.findall(r"`(--[a-z-]+)", readme))):
        if option in ("--json", "--verbose", "--identifier", "--china") and option not in usage:
            yield f"README.md names {option}, which is not an option"


def check_exit_codes(readme, source):
    for name, number in re.findall(r"^  (\w+) = (\d+),", source, re.MULTILINE):
        if not re.search(rf"^\| {number} \|", readme, re.MULTILINE):
            yield f"README.md does not explain exit code {number} ({name})"


def main():
    readme = (ROOT / "README.md").read_text()
    dev_usage = subprocess.run([ROOT / "dev", "help"], check=True, capture_output=True,
                               text=True).stdout
    tool_usage = subprocess.run([sys.argv[1], "--help"], check=True, capture_output=True,
                                text=True).stdout
    complaints = [
        *check_program(readme, (ROOT / "examples/host.cpp").read_text()),
        *check_commands(readme, dev_usage),
        *check_tool_commands(readme, tool_usage),
        *check_exit_codes(readme, (ROOT / "tools/orxaccount/ExitCode.h").read_text()),
    ]
    return report(complaints, "README.md")


if __name__ == "__main__":
    sys.exit(main())
