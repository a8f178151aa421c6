#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of the one command that runs what takes longer than the tests."""

import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
import check


class LongChecks(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.report = self.folder / "check.md"

    def part(self, name, command, files=("README.md",)):
        trace = self.folder / name
        return check.Part(name, f"echo >>{trace}; {command}", "what", files)

    def runs(self, name):
        trace = self.folder / name
        return len(trace.read_text().splitlines()) if trace.exists() else 0

    def test_go_on_after_a_failure_and_name_it(self):
        failed = check.run([self.part("bad", "false"), self.part("good", "true")], self.report)
        self.assertEqual(failed, ["bad"])
        rows = check.rows_of(self.report.read_text())
        self.assertEqual({name: cells[3] for name, cells in rows.items()},
                         {"bad": "**failed**", "good": "passed"})

    def test_run_again_only_what_has_not_passed(self):
        parts = [self.part("bad", "false"), self.part("good", "true")]
        check.run(parts, self.report)
        check.run(parts, self.report)
        self.assertEqual((self.runs("bad"), self.runs("good")), (2, 1))
        check.run(parts, self.report, every=True)
        self.assertEqual(self.runs("good"), 2)

    def test_run_again_what_depends_on_other_files_now(self):
        check.run([self.part("good", "true")], self.report)
        check.run([self.part("good", "true", ("README.md", "LICENSE"))], self.report)
        self.assertEqual(self.runs("good"), 2)

    def test_keep_the_rows_of_parts_that_are_not_asked_for(self):
        first, second = self.part("first", "true"), self.part("second", "true")
        check.run([first, second], self.report)
        check.run([second], self.report, every=True)
        self.assertEqual(list(check.rows_of(self.report.read_text())), ["first", "second"])

    def test_name_files_that_exist(self):
        tracked = check.output_of("git", "ls-files").split()
        for part in check.PARTS:
            for pattern in part.files:
                self.assertTrue(any(check.fnmatch.fnmatch(name, pattern) for name in tracked), pattern)


if __name__ == "__main__":
    sys.exit(unittest.main())
