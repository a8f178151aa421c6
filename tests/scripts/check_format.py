#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every source is laid out as clang-format does; ./dev format lays it out."""

import subprocess
import sys

from cpp_source import files

FOLDERS = ("include", "src", "devserver", "tools", "examples", "fuzz", "tests", "bench")


def main():
    paths = [str(path) for path in files(FOLDERS, ".h", ".cpp")]
    return subprocess.run(["clang-format", "--dry-run", "--Werror", *paths], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
