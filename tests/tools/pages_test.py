#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What people read about the command line, and what their shells complete.

usage: pages_test.py --orxaccount PROGRAM --devserver PROGRAM
"""

import json
import os
import re
import shlex
import shutil
import subprocess
import sys

import support
from support import WAIT, CommandLine, Terminal, main

GLOBAL_OPTIONS = ("--app-key-file", "--ca-file", "--connect", "--json", "--max-time", "--proxy", "--show-ticket",
                  "--timeout", "--verbose", "--version")


class Help(CommandLine):
    def commands(self):
        usage = self.expect(0, "--help").stdout
        found = re.findall(r"^  ([a-z][a-z0-9-]+) ", usage[usage.index("Subcommands:"):], re.M)
        self.assertGreater(len(found), 10)
        return found

    def test_goes_to_standard_output_and_tells_the_exit_codes(self):
        self.assertIn("Exit codes:", self.expect(0, "--help").stdout)
        self.assertIn("--password-stdin", self.expect(0, "login", "--help").stdout)

    def test_of_every_command_holds_the_global_options(self):
        for command in self.commands():
            with self.subTest(command):
                shown = self.expect(0, command, "--help").stdout
                for option in GLOBAL_OPTIONS:
                    self.assertIn(option, shown)

    def test_is_the_same_by_the_command_and_by_the_option(self):
        self.assertEqual(self.expect(0, "help").stdout, self.expect(0, "--help").stdout)
        for command in self.commands():
            with self.subTest(command):
                self.assertEqual(self.expect(0, "help", command).stdout,
                                 self.expect(0, command, "--help").stdout)

    def test_fits_lines_of_eighty_letters(self):
        shown = subprocess.run([support.programs.devserver, "--help"], check=True, text=True,
                               capture_output=True).stdout
        self.assertEqual([line for line in shown.splitlines() if len(line) > 80], [])
        for command in self.commands():
            shown = self.expect(0, "help", command).stdout + self.expect(0, "help").stdout
            self.assertEqual([line for line in shown.splitlines() if len(line) > 80], [])


class UnknownWord(CommandLine):
    def told(self, *arguments):
        done = self.expect(2, *arguments)
        self.assertEqual(done.stderr.count("\n"), 1)
        return done.stderr

    def test_that_is_no_command_is_named_with_the_nearest(self):
        for word, nearest in (("logn", "login"), ("whoiam", "whoami"), ("prof", "professions"),
                              ("contries", "countries"), ("pictures", "picture")):
            for arguments in ([word], [word, "--login", "a"], ["help", word]):
                with self.subTest(arguments):
                    told = self.told(*arguments)
                    self.assertIn(f"'{word}'", told)
                    self.assertIn(f"did you mean {nearest}?", told)

    def test_that_nothing_resembles_is_named_alone(self):
        for arguments in (["fly"], ["help", "fly"], ["x" * 100_000]):
            told = self.told(*arguments)
            self.assertIn(arguments[-1][:100], told)
            self.assertNotIn("did you mean", told)

    def test_that_is_no_option_is_named_with_the_nearest_of_the_command(self):
        for arguments, nearest in (
                (["login", "--logni", "a"], "--login"), (["login", "--pasword-stdin"], "--password-stdin"),
                (["whoami", "--verbos"], "--verbose"), (["--ca-fil", "x", "whoami"], "--ca-file"),
                (["picture", "--ouput=x"], "--output")):
            with self.subTest(arguments):
                told = self.told(*arguments)
                wrong = next(word for word in arguments if word.startswith("--")).split("=")[0]
                self.assertIn(wrong, told)
                self.assertRegex(told, f"did you mean {nearest}( or|\\?)")
        self.assertNotIn("--uid", self.told("login", "--ui", "x"))

    def test_is_named_without_what_may_be_a_secret(self):
        for arguments, words in (
                (["--pasword=SECRET"], "no option --pasword "), (["--pasword", "SECRET"], "no option --pasword "),
                (["-pSECRET"], "no option -p "), (["--password-stdin=SECRET"], ": --password-stdin "),
                (["--password-stdin", "SECRET"], "login takes no argument ")):
            for form in ([], ["--json"]):
                with self.subTest(arguments + form):
                    done = self.expect(2, "login", "--login", "a", *arguments, *form)
                    self.assertIn(words.strip(), done.stdout + done.stderr)
                    self.assertNotIn("SECRET", done.stdout + done.stderr)
        self.assertIn("did you mean --login?", self.told("login", "-login"))

    def test_behind_a_command_that_takes_no_more_is_not_repeated(self):
        for arguments, words in ((["whoami"], "whoami takes no argument ("),
                                 (["login-ticket"], "login-ticket takes no argument ("),
                                 (["call", "w1"], "call takes no further argument (")):
            told = self.told(*arguments, "SECRET")
            self.assertIn(words, told)
            self.assertNotIn("SECRET", told)

    def test_of_a_program_without_commands_is_named_once(self):
        for word in ("--prt", "me"):
            done = subprocess.run([support.programs.devserver, word], text=True, capture_output=True)
            self.assertEqual(done.returncode, 2)
            self.assertEqual(done.stderr.count("orxaccount-devserver"), 1, done.stderr)


class Versions(CommandLine):
    def test_of_what_is_in_use_are_shown(self):
        shown = self.expect(0, "--version").stdout
        self.assertRegex(shown, r"orxaccount: +[0-9.]+\n")
        self.assertRegex(shown, r"library: +ORXAccount/[0-9.]+ libcurl/\S+ \w+/\S+\n")
        self.assertRegex(shown, r"store: +file\n")

    def test_are_an_object_where_json_is_asked_for(self):
        for arguments in (["--json", "--version"], ["--version", "--json"], ["whoami", "--version", "--json"]):
            shown = json.loads(self.expect(0, *arguments).stdout)
            self.assertEqual(sorted(shown), ["library", "orxaccount", "store"])


class Manual(CommandLine):
    def test_holds_every_command_and_option_of_the_help(self):
        page = self.expect(0, "--page", "man").stdout
        shown = subprocess.run(["groff", "-man", "-Tascii", "-P-cbou", "-ww"], input=page, text=True,
                               capture_output=True, timeout=WAIT, check=True)
        self.assertEqual(shown.stderr, "")
        text = shown.stdout
        usage = self.expect(0, "help").stdout
        for command in re.findall(r"^  ([a-z][a-z0-9-]+) ", usage[usage.index("Subcommands:"):], re.M):
            self.assertRegex(text, rf"(?m)^   {command}\b")
            for option in re.findall(r"^  (?:-\w,)?(--[a-z0-9-]+)",
                                     self.expect(0, "help", command).stdout, re.M):
                self.assertIn(option, text)
        for heading in ("NAME", "SYNOPSIS", "OPTIONS", "COMMANDS", "ENVIRONMENT", "EXIT STATUS"):
            self.assertRegex(text, f"(?m)^{heading}$")
        for variable in ("ORXACCOUNT_APP_KEY", "ORXACCOUNT_CA_FILE", "ORXACCOUNT_PROXY"):
            self.assertIn(variable, text[text.index("\nENVIRONMENT"):])


# What stands on the command line, and of what is completed: words that must be offered, words that
# must not.
CASES = [
    ("orxaccount lo", {"login", "login-openid", "login-openid-v2", "login-ticket", "logout"}, {"whoami"}),
    ("orxaccount --json who", {"whoami"}, {"login"}),
    ("orxaccount --ca-file authority.pem who", {"whoami"}, set()),
    ("orxaccount --ca-file auth", {"authority.pem"}, {"whoami"}),
    ("orxaccount --pro", {"--proxy", "--proxy-file"}, {"--uid"}),
    ("orxaccount login --p", {"--password-stdin", "--proxy"}, {"--page", "--password", "--output"}),
    ("orxaccount picture --o", {"--output"}, {"--login"}),
    ("orxaccount picture --output auth", {"authority.pem"}, set()),
    ("orxaccount login --login auth", set(), {"authority.pem"}),
    ("orxaccount help pro", {"professions"}, {"countries"}),
    ("orxaccount whoami lo", set(), {"login"}),
]


class Completion(Terminal):
    def setUp(self):
        super().setUp()
        (self.home / "authority.pem").touch()

    def script(self, shell):
        place = self.home / f"_orxaccount.{shell}"
        place.write_text(self.expect(0, "--page", shell).stdout, encoding="utf-8")
        return place

    def ask(self, *command):
        done = subprocess.run(command, text=True, capture_output=True, timeout=WAIT, cwd=self.home,
                              env=self.environment)
        self.assertEqual(done.stderr, "")
        return {line.split("\t")[0].strip() for line in done.stdout.splitlines()}

    def check(self, ask, cases):
        for line, offered, others in cases:
            with self.subTest(line):
                shown = ask(line)
                self.assertLessEqual(offered, shown)
                self.assertEqual(others & shown, set())

    def ask_bash(self, line):
        # As bash does it: "=" is a word of its own.
        words = [part for word in line.split(" ") for part in re.split("(=)", word) if part or not word]
        script = (f"source {self.script('bash')}\nCOMP_WORDS=({shlex.join(words)})\n"
                  f"COMP_CWORD={len(words) - 1}\n_orxaccount\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"")
        return self.ask("bash", "--norc", "-c", script)

    def test_in_bash_offers_what_may_stand_there(self):
        self.check(self.ask_bash, CASES)
        self.check(self.ask_bash, [
            ("orxaccount --ca-file=auth", {"authority.pem"}, {"whoami"}),
            ("orxaccount --ca-file=authority.pem who", {"whoami"}, set()),
            ("orxaccount call --set-file passwd=auth", {"authority.pem"}, set())])

    def test_in_fish_offers_what_may_stand_there(self):
        script = self.script("fish")
        self.check(lambda line: self.ask(
            "fish", "--no-config", "-c", f"source {script}; complete -C {shlex.quote(line)}"), CASES)

    def complete_at_a_terminal(self, shell, *options):
        """Types beginnings and the tabulator key, and sees what the shell then runs."""
        # A shell writes its history when it ends, when its home is being removed.
        self.environment.update(TERM="dumb", HISTFILE="/dev/null")
        _, terminal = self.start(*options, program=shutil.which(shell))
        begin = "autoload -Uz compinit; compinit -D -u; " if shell == "zsh" else ""
        begin += f"source {self.script(shell)}; orxaccount() {{ echo \"ran:$*.\"; }}; echo rea''dy\n"
        os.write(terminal, begin.encode())
        self.read_until(terminal, "ready")
        for typed, run in (("who\t", "whoami"), ("--ca-file auth\t", "--ca-file authority.pem"),
                           ("login --password\t", "login --password-stdin"),
                           ("help prof\t", "help professions")):
            with self.subTest(typed):
                os.write(terminal, f"orxaccount {typed}\n".encode())
                self.read_until(terminal, f"ran:{run}.")

    def test_at_a_terminal_of_bash_adds_the_rest_of_the_word(self):
        self.complete_at_a_terminal("bash", "--norc", "--noprofile", "-i")

    def test_at_a_terminal_of_zsh_adds_the_rest_of_the_word(self):
        self.complete_at_a_terminal("zsh", "-f", "-i")


if __name__ == "__main__":
    sys.exit(main(__doc__))
