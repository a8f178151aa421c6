#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the command line shows on a terminal, and only there.

usage: terminal_test.py --orxaccount PROGRAM --devserver PROGRAM
"""

import json
import os
import signal
import socket
import sys

import support
from support import Terminal, main


def screen(shown):
    """The lines of a terminal on which this was printed."""
    lines = []
    for line in shown.replace("\r\n", "\n").split("\n"):
        letters = []
        for piece in line.split("\r"):
            letters[:len(piece)] = piece
        lines.append("".join(letters).rstrip())
    return "\n".join(lines)


class Shown(Terminal):
    def run_at_terminal(self, code, *arguments, **options):
        child, terminal = self.start(*arguments, **options)
        shown = self.read_until(terminal, None)
        self.assertEqual(self.exit_code(child), code, shown)
        return shown

    def test_tables_are_as_wide_as_the_terminal(self):
        whole = self.expect(0, "countries").stdout.splitlines()
        widest = max(map(len, whole))
        for columns in (widest, widest - 1, 30):
            lines = screen(self.run_at_terminal(0, "countries", columns=columns)).splitlines()
            self.assertEqual(len(lines), len(whole))
            self.assertLessEqual(max(map(len, lines)), columns)
            cut = [line for line in lines if "\u2026" in line]
            self.assertEqual(bool(cut), columns < widest)

    def test_a_table_of_many_columns_stays_whole(self):
        row = {f"column-{i}": f"value-{i}" for i in range(20)}
        service = support.Service([{"match": {"apiId": "wide"}, "do": {"body": support.answer(
            1, "", "JsonString", json.dumps([[row]])[1:-1])}}])
        self.addCleanup(service.stop)
        self.use(service)
        shown = self.run_at_terminal(0, "call", "wide", columns=40)
        self.assertNotIn("\u2026", shown)
        self.assertIn("value-19", shown)

    def test_help_is_as_wide_as_the_terminal(self):
        for columns in (60, 100):
            lines = screen(self.run_at_terminal(0, "help", "register", columns=columns)).splitlines()
            described = [line for line in lines if line.startswith(" " * 30)]
            self.assertLessEqual(max(map(len, described)), columns)
            self.assertGreater(max(map(len, described)), columns - 25)

    def test_is_without_colours_and_other_sequences(self):
        for arguments in (["--help"], ["status"], ["countries"], ["--version"]):
            self.assertNotIn("\x1b", self.run_at_terminal(0, *arguments))

    def test_a_picture_is_not_written_to_it(self):
        self.sign_up()
        shown = self.run_at_terminal(2, "picture", "-o", "-")
        self.assertIn("would write the picture to the terminal", shown)


class Waiting(Terminal):
    """For a service that says nothing until it hangs up."""

    def setUp(self):
        super().setUp()
        self.silent = socket.socket()
        self.addCleanup(self.silent.close)
        self.silent.bind(("127.0.0.1", 0))
        self.silent.listen()
        self.connect_to(self.silent)

    def test_is_shown_and_gone_afterwards(self):
        for form, told in (("--verbose", r"^log: .*\norxaccount: .*NSURLErrorDomain"), ("--json", r"^\{\n")):
            with self.subTest(form):
                child, terminal = self.start(form, "call", "w1")
                connection, _ = self.silent.accept()
                shown = self.read_until(terminal, "waiting for the service ... 2 s")
                self.assertIn("waiting for the service ... 2 s", screen(shown))
                connection.close()
                shown += self.read_until(terminal, None)
                self.assertEqual(self.exit_code(child), 3)
                self.assertNotIn("waiting", screen(shown))
                self.assertRegex(screen(shown), told)
                self.assertNotIn("\x1b", shown)

    def test_is_interrupted_by_a_signal(self):
        child, terminal = self.start("call", "w1")
        self.read_until(terminal, "waiting for the service ... ")
        os.kill(child, signal.SIGTERM)
        self.assertEqual(self.exit_code(child), -signal.SIGTERM)

    def test_ends_after_the_time_that_the_user_chose(self):
        for arguments, variables in ((["--timeout", "1.5"], {}), ([], {"ORXACCOUNT_TIMEOUT": "1.5"}),
                                     (["--max-time", "1.5"], {}), ([], {"ORXACCOUNT_MAX_TIME": "1.5"})):
            with self.subTest(arguments=arguments, variables=variables):
                done = self.expect(3, *arguments, "--json", "call", "w1", **variables)
                self.assertEqual(json.loads(done.stdout)["error"]["code"], -1001)
                # Standard error is no terminal.
                self.assertEqual(done.stderr, "")

    def test_takes_a_number_of_seconds(self):
        for option in ("--timeout", "--max-time"):
            for text in ("0", "-1", "1s", "", "nan", "inf", "0.0001", "1000001"):
                with self.subTest((option, text)):
                    self.assertIn(option, self.expect(2, option, text, "call", "w1").stderr)


if __name__ == "__main__":
    sys.exit(main(__doc__))
