#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""./dev abi, on a small library: what breaks hosts is refused unless the SONAME announces it, anything else is not."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
HEADER = """
#pragma once
#include <memory>
#include <string>
struct Place { int port; };
class __attribute__((visibility("default"))) Account {
 public:
  Account();
  ~Account();
  const std::string& name() const;
  void connect(const Place& place);
  virtual void changed();
 private:
  struct State;
  std::unique_ptr<State> state_;
};
"""
SOURCE = """
#include "account.h"
struct Account::State { std::string name; };
Account::Account() : state_(std::make_unique<State>()) {}
Account::~Account() = default;
const std::string& Account::name() const { return state_->name; }
void Account::connect(const Place&) {}
void Account::changed() {}
"""


class Gate(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.run_script("describe_abi", self.library(), self.folder, output=self.folder / "record")

    def run_script(self, *command, output=None):
        script = f'set -euo pipefail; cd "{ROOT}"; source scripts/build.sh; source scripts/abi.sh; "$@"'
        ended = subprocess.run(["bash", "-c", script, "dev", *map(str, command)], text=True,
                               capture_output=True, timeout=120)
        if output:
            output.write_text(ended.stdout)
        return ended

    def library(self, header=HEADER, source=SOURCE, soname="libaccount.so.1"):
        (self.folder / "account.h").write_text(header)
        (self.folder / "account.cpp").write_text(source)
        built = self.folder / "libaccount.so"
        subprocess.run(["g++", "-std=c++20", "-g", "-shared", "-fPIC", "-fvisibility=hidden",
                        f"-Wl,-soname,{soname}", "-o", built, self.folder / "account.cpp"],
                       check=True)
        return built

    def compared(self, **changed):
        return self.run_script("compare_abi", self.folder / "record", self.library(**changed), self.folder)

    def assertRefused(self, **changed):
        ended = self.compared(**changed)
        self.assertEqual(ended.returncode, 1, ended.stdout + ended.stderr)
        self.assertIn("raise the major version", ended.stderr)

    def assertTaken(self, **changed):
        ended = self.compared(**changed)
        self.assertEqual(ended.returncode, 0, ended.stdout + ended.stderr)
        return ended.stdout

    def test_takes_what_is_as_it_was(self):
        self.assertTaken()

    def test_takes_what_is_new(self):
        self.assertTaken(header=HEADER.replace(" private:", "  void leave();\n private:"),
                         source=SOURCE + "void Account::leave() {}\n")

    def test_takes_a_change_of_what_no_header_shows(self):
        self.assertTaken(source=SOURCE.replace("std::string name;", "int age; std::string name;"))

    def test_refuses_that_a_function_is_gone(self):
        self.assertRefused(header=HEADER.replace("  void connect(const Place& place);\n", ""),
                           source=SOURCE.replace("void Account::connect(const Place&) {}\n", ""))

    def test_refuses_another_parameter(self):
        self.assertRefused(header=HEADER.replace("connect(const Place& place)", "connect(int port)"),
                           source=SOURCE.replace("connect(const Place&)", "connect(int)"))

    def test_refuses_another_field_of_what_a_header_shows(self):
        self.assertRefused(header=HEADER.replace("int port;", "int port; int protocol;"))

    def test_refuses_another_size_of_what_a_host_makes(self):
        self.assertRefused(header=HEADER.replace("state_;", "state_;\n  int age_ = 0;"))

    def test_refuses_another_place_of_a_virtual_function(self):
        self.assertRefused(header=HEADER.replace("  virtual void changed();",
                                                 "  virtual void left();\n  virtual void changed();"),
                           source=SOURCE + "void Account::left() {}\n")

    def test_takes_a_break_that_the_soname_announces(self):
        self.assertIn("announced", self.assertTaken(
            soname="libaccount.so.2", header=HEADER.replace("int port;", "int port; int protocol;")))


class Symbols(unittest.TestCase):
    def test_keeps_the_version_that_first_had_each_and_takes_off_what_is_gone(self):
        with tempfile.TemporaryDirectory() as folder:
            built = Path(folder, "liba.so")
            found = Path(folder, "liba1.symbols")
            for version, names in (("1.0", "ab"), ("1.1", "bcd"), ("1.1", "bc")):
                text = "".join(f'extern "C" void {name}() {{}}\n' for name in names)
                subprocess.run(["g++", "-x", "c++", "-", "-shared", "-fPIC", "-Wl,-soname,liba.so.1",
                                "-o", built], input=text, text=True, check=True)
                Gate.run_script(self, "record_symbols", built, found, version)
            self.assertEqual(found.read_text(), "liba.so.1 liba1 #MINVER#\n"
                             "* Build-Depends-Package: liborxaccount-dev\n b@Base 1.0\n c@Base 1.1\n")


if __name__ == "__main__":
    sys.exit(unittest.main())
