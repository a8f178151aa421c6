#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The build takes and refuses the hosts and namespaces of ServerTexts.txt, as the library does for those
that a host sets.

usage: build_options_test.py
"""

import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
SCRIPT = HERE.parents[1] / "cmake/CheckServers.cmake"
OPTIONS = {"host": ["ORX_GLOBAL_HOST", "ORX_CHINA_HOST", "ORX_DEVELOPMENT_HOST"],
           "namespace": ["ORX_SERVICE_NAMESPACE"]}


def is_taken(option, text):
    options = {name: "a.example" for names in OPTIONS.values() for name in names}
    options[option] = text
    return subprocess.run(["cmake", *(f"-D{name}={value}" for name, value in options.items()),
                           "-P", SCRIPT], capture_output=True).returncode == 0


def main():
    complaints = []
    lines = (HERE / "ServerTexts.txt").read_text(encoding="utf-8").splitlines()
    for line in lines:
        kind, verdict, text = line.split(" ", 2)
        complaints += [f"{option} '{text}' is not {verdict}" for option in OPTIONS[kind]
                       if is_taken(option, text) != (verdict == "good")]
    print(*complaints, f"{len(lines)} texts", sep="\n")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
