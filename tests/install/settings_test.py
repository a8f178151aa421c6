#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compiles sources with the settings of other builds, every warning an error: those that such a setting has
refused before, and the whole library as one unit. `./dev compilers` builds everything with all of them."""

import json
import shlex
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(sys.argv.pop(1)).resolve()

FORTIFIED = ["-D_GLIBCXX_ASSERTIONS", "-fstack-protector-strong", "-Werror=format-security"]


def commands():
    entries = json.loads((BUILD / "compile_commands.json").read_text())
    return {str(Path(entry["file"]).relative_to(ROOT)): shlex.split(entry["command"]) for entry in entries
            if Path(entry["file"]).is_relative_to(ROOT)}


def definitions_and_folders(command):
    """What the command says of names and folders, without its optimiser, warnings and output."""
    kept, words = [], iter(command[1:])
    for word in words:
        if word == "-isystem":
            kept += [word, next(words)]
        elif word.startswith(("-D", "-I")) and "_FORTIFY_SOURCE" not in word and "_ASSERTIONS" not in word:
            kept.append(word)
    return kept


class Settings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.commands = commands()

    def assertCompiles(self, source, like, *flags):
        run = subprocess.run(
            ["g++", "-std=c++20", *definitions_and_folders(self.commands[like]), "-fPIC",
             "-fvisibility=hidden", "-Wall", "-Wextra", "-Wshadow", "-Wnon-virtual-dtor", "-Werror", *flags,
             "-c", "-o", "/dev/null", str(source)], capture_output=True, text=True, check=False)
        self.assertEqual(run.returncode, 0, run.stderr)

    def assertEachCompiles(self, sources, *flags):
        for source in sources:
            with self.subTest(source=source):
                self.assertCompiles(ROOT / source, source, *flags)

    def test_release(self):
        self.assertEachCompiles(["src/platform/base/Value.cpp", "devserver/OpenIDOperations.cpp"], "-O3",
                                "-DNDEBUG", "-D_FORTIFY_SOURCE=2",
                                *FORTIFIED)

    def test_the_distribution_s_flags(self):
        self.assertEachCompiles(["src/platform/storage/FileLock.cpp", "devserver/Envelope.cpp",
                                 "devserver/OpenIDOperations.cpp"],
                                "-g", "-O2", "-Wformat", "-Wdate-time", "-D_FORTIFY_SOURCE=2", *FORTIFIED)

    def test_more_fortified(self):
        self.assertEachCompiles(["src/platform/base/Value.cpp"], "-O3", "-D_FORTIFY_SOURCE=3", *FORTIFIED)

    def test_checked_containers(self):
        self.assertEachCompiles(["src/platform/base/Dictionary.cpp", "src/platform/base/Value.cpp"],
                                "-D_GLIBCXX_DEBUG", "-D_GLIBCXX_DEBUG_PEDANTIC")

    def test_one_unit(self):
        # Each library has one of two files; the static one is linked with libcurl.
        sources = [source for source in sorted((ROOT / "src").rglob("*.cpp"))
                   if source.name != "LinkedCurl.cpp"]
        self.assertGreater(len(sources), 50)
        with tempfile.TemporaryDirectory() as folder:
            unit = Path(folder, "unit.cpp")
            unit.write_text("".join(f'#include "{source}"\n' for source in sources))
            like = next(name for name in self.commands if name.startswith("src/config/"))
            self.assertCompiles(unit, like, "-fsyntax-only")


if __name__ == "__main__":
    unittest.main()
