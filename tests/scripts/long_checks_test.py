#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of the one command that runs what takes longer than the tests."""

import contextlib
import io
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
import check
import valgrind


class LongChecks(unittest.TestCase):
    """In a project of two files."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.project = self.folder / "project"
        self.report = self.project / "docs" / "check.md"
        self.report.parent.mkdir(parents=True)
        (self.project / "read.txt").write_text("a")
        (self.project / "other.txt").write_text("a")
        self.git("init", "--quiet")
        self.commit()
        for name, value in {"ROOT": self.project, "REPORT": self.report, "LOGS": self.folder / "logs"}.items():
            patch = unittest.mock.patch.object(check, name, value)
            patch.start()
            self.addCleanup(patch.stop)

    def git(self, *words):
        subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@example.com", *words], cwd=self.project,
                       check=True)

    def commit(self):
        self.git("add", "--all")
        self.git("commit", "--quiet", "--allow-empty", "--message", "Change")

    def part(self, name, command, files=("read.txt",), **more):
        trace = self.folder / name
        return check.Part(name, f"echo >>{trace}; {command}", "what", files, **more)

    def run_parts(self, *parts, **more):
        with contextlib.redirect_stdout(io.StringIO()):
            return check.run(parts, self.report, **more)

    def runs(self, name):
        trace = self.folder / name
        return len(trace.read_text().splitlines()) if trace.exists() else 0

    def rows(self):
        return check.rows_in(self.report)

    def test_go_on_after_a_failure_and_name_it(self):
        self.assertEqual(self.run_parts(self.part("bad", "false"), self.part("good", "true")), ["bad"])
        self.assertEqual({name: cells[3] for name, cells in self.rows().items()},
                         {"bad": "**failed**", "good": "passed"})

    def test_end_with_a_status_that_says_whether_one_has_failed(self):
        for command, status in (("false", "failed: one"), ("true", None)):
            with (self.subTest(command), contextlib.redirect_stdout(io.StringIO()),
                  unittest.mock.patch.object(check, "PARTS", [self.part("one", command)]),
                  unittest.mock.patch.object(sys, "argv", ["check.py"])):
                try:
                    check.main()
                    ended = None
                except SystemExit as end:
                    ended = end.code
                self.assertEqual(ended, status)

    def test_run_again_only_what_has_not_passed(self):
        parts = [self.part("bad", "false"), self.part("good", "true")]
        self.run_parts(*parts)
        self.run_parts(*parts)
        self.assertEqual((self.runs("bad"), self.runs("good")), (2, 1))
        self.run_parts(*parts, every=True)
        self.assertEqual(self.runs("good"), 2)

    def test_run_again_once_a_file_that_they_depend_on_has_changed(self):
        part = self.part("good", "true")
        self.run_parts(part)
        (self.project / "other.txt").write_text("b")
        self.run_parts(part)
        self.assertEqual(self.runs("good"), 1)
        (self.project / "read.txt").write_text("b")
        self.run_parts(part)
        self.assertEqual(self.runs("good"), 2)

    def test_run_again_when_a_file_has_changed_while_they_ran(self):
        part = self.part("good", "echo b >read.txt")
        self.run_parts(part)
        self.run_parts(part)
        self.assertEqual(self.runs("good"), 2)

    def test_do_not_depend_on_their_report(self):
        part = self.part("good", "true", ("docs/*",))
        self.run_parts(part)
        self.commit()
        self.run_parts(part)
        self.assertEqual(self.runs("good"), 1)

    def test_keep_the_rows_of_parts_that_are_not_asked_for(self):
        first, second = self.part("first", "true"), self.part("second", "true")
        self.run_parts(first, second)
        self.run_parts(second, every=True)
        self.assertEqual(list(self.rows()), ["first", "second"])

    def test_keep_the_row_that_another_run_writes_meanwhile(self):
        written = self.folder / "written.md"
        self.run_parts(self.part("other", "true"))
        self.report.rename(written)
        self.run_parts(self.part("slow", f"mv '{written}' '{self.report}'"))
        self.assertEqual(sorted(self.rows()), ["other", "slow"])

    def test_stand_in_the_order_of_the_command(self):
        first, second = self.part("first", "true"), self.part("second", "true")
        with unittest.mock.patch.object(check, "PARTS", [first, second]):
            self.run_parts(second)
            self.run_parts(first)
        self.assertEqual(list(self.rows()), ["first", "second"])

    def test_tell_how_much_they_have_checked(self):
        self.run_parts(self.part("sum", "echo 12 files; echo 2000 files", counted=r"(\d+) files", unit="files"),
                       self.part("words", "echo lines: 98%; echo lines: 98%", counted=r"lines: \d+%"),
                       self.part("none", "true", counted="no such words"))
        self.assertEqual([cells[4] for cells in self.rows().values()], ["2,012 files", "lines: 98%", ""])

    def test_name_the_commit_that_they_ran_on(self):
        part = self.part("good", "true")
        self.run_parts(part)
        head = check.output_of("git", "rev-parse", "--short", "HEAD").strip()
        self.assertEqual(self.rows()["good"][6], head)
        (self.project / "read.txt").write_text("b")
        self.run_parts(part)
        self.assertEqual(self.rows()["good"][6], head + " and changes")

    def test_wait_for_nobody_at_the_terminal_and_for_no_part_for_ever(self):
        with unittest.mock.patch.object(check, "LONGEST", "1s"):
            self.assertEqual(self.run_parts(self.part("asks", "! read answer"), self.part("hangs", "sleep 60")),
                             ["hangs"])


class Parts(unittest.TestCase):
    def test_name_files_that_exist(self):
        tracked = check.output_of("git", "ls-files").split()
        for part in check.PARTS:
            for pattern in part.files:
                self.assertTrue(any(check.fnmatch.fnmatch(name, pattern) for name in tracked), pattern)

    def assert_depends(self, part, file):
        self.assertIn(file, check.output_of("git", "ls-files").split())
        self.assertTrue(any(check.fnmatch.fnmatch(file, pattern) for pattern in part.files), (part.name, file))

    def test_depend_on_what_they_build(self):
        for name, file in (("compilers", "examples/glib.cpp"), ("packages", "README.md"),
                           ("soak", "tests/torture/soak.py"),
                           ("torture", "tests/platform/keychain/secretservice/service/CMakeLists.txt")):
            self.assert_depends(next(part for part in check.PARTS if part.name == name), file)

    def test_depend_on_the_command_that_runs_them_and_the_packages_it_installs(self):
        for part in check.PARTS:
            for file in ("dev", "scripts/packages.sh"):
                self.assert_depends(part, file)


class UnderValgrind(unittest.TestCase):
    tests = {name: ["room_tests", "--gtest_filter=" + name.split("/")[1]]
             for name in ("base/A.One", "base/A.Two", "base/A.ManyTimes", "base/B.One", "user/C.One", "user/C.Two",
                          "user/D.One")}

    def test_run_in_one_process_for_each_suite_that_leaves_nothing_behind(self):
        with unittest.mock.patch.object(valgrind, "CHOSEN", ["base/", "user/C."]):
            runs = valgrind.runs_of(valgrind.chosen_of(self.tests))
        self.assertEqual(sorted(command[1] for _, command in runs),
                         ["--gtest_filter=" + names for names in ("A.One:A.Two", "B.One", "C.One", "C.Two")])

    def test_are_missed_when_their_names_have_changed(self):
        with (unittest.mock.patch.object(valgrind, "CHOSEN", ["base/", "user/Gone."]),
              self.assertRaisesRegex(SystemExit, "user/Gone")):
            valgrind.chosen_of(self.tests)

    def test_can_be_chosen_by_a_pattern(self):
        self.assertEqual(list(valgrind.chosen_of(self.tests, "D|Two$")), ["base/A.Two", "user/C.Two", "user/D.One"])


if __name__ == "__main__":
    sys.exit(unittest.main())
