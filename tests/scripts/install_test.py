#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""./dev install and ./dev uninstall, with a small project in the place of this one's build."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LIST = "share/orxaccount/installed-files"
# A program, its completions of the same name, a library with its links, and a file that is installed last.
PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(Small VERSION 1.0.0 LANGUAGES C)
file(WRITE ${CMAKE_BINARY_DIR}/small.c "int small(void) { return 0; }")
file(WRITE ${CMAKE_BINARY_DIR}/main.c "int small(void); int main(void) { return small(); }")
file(WRITE ${CMAKE_BINARY_DIR}/pages/small "complete small")
file(WRITE ${CMAKE_BINARY_DIR}/last "last")
add_library(part SHARED ${CMAKE_BINARY_DIR}/small.c)
set_target_properties(part PROPERTIES VERSION 1.0.0 SOVERSION 1)
add_executable(small ${CMAKE_BINARY_DIR}/main.c)
target_link_libraries(small PRIVATE part)
install(TARGETS part LIBRARY DESTINATION lib)
install(TARGETS small RUNTIME DESTINATION bin)
install(FILES ${CMAKE_BINARY_DIR}/pages/small DESTINATION share/completions)
install(FILES ${CMAKE_BINARY_DIR}/last DESTINATION share/deep/down)
"""


def everything_in(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


class Installing(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        (cls.folder / "CMakeLists.txt").write_text(PROJECT)
        for command in (["-S", ".", "-B", "build/package", "-DCMAKE_BUILD_TYPE=Debug"],
                        ["--build", "build/package"]):
            subprocess.run(["cmake", *command], cwd=cls.folder, check=True, stdout=subprocess.DEVNULL)

    def setUp(self):
        trial = tempfile.TemporaryDirectory(dir=self.folder)
        self.addCleanup(trial.cleanup)
        self.trial = Path(trial.name)
        self.prefix = self.trial / "a prefix [1]"

    def run_script(self, command, *arguments, status=0, **options):
        script = "".join((ROOT / "scripts" / name).read_text() for name in ("packages.sh", "build.sh", "install.sh"))
        script += (f'set -euo pipefail; caller_folder="{self.trial}"; '
                   'require_packages() { :; }; configure() { :; }; build() { :; }; "$@"')
        ended = subprocess.run([shutil.which("bash"), "-c", script, "dev", command, *map(str, arguments)], text=True,
                               cwd=self.folder, capture_output=True, timeout=120, **options)
        self.assertEqual(ended.returncode, status, ended.stdout + ended.stderr)
        return ended

    def read(self, option, file):
        return subprocess.run(["readelf", "--wide", option, self.prefix / file], check=True, text=True,
                              errors="replace", capture_output=True).stdout

    def build_id(self, file):
        return re.search(r"Build ID: (\w+)", self.read("--notes", file)).group(1)

    def test_debug_files_lie_beside_stripped_ones_that_name_them(self):
        self.run_script("install_to", "--debug", self.prefix)
        for file in ("bin/small", "lib/libpart.so.1.0.0"):
            self.assertNotIn(".debug_info", self.read("--sections", file))
            self.assertIn(".debug_info", self.read("--sections", file + ".debug"))
            self.assertIn(Path(file).name + ".debug", self.read("--string-dump=.gnu_debuglink", file))
            self.assertEqual(self.build_id(file), self.build_id(file + ".debug"))
        debug = [name for name in everything_in(self.prefix) if name.endswith(".debug")]
        self.assertEqual(debug, ["bin/small.debug", "lib/libpart.so.1.0.0.debug"])

    def test_without_them_nothing_is_installed_beside(self):
        self.run_script("install_to", self.prefix)
        self.assertNotIn(".debug_info", self.read("--sections", "bin/small"))
        self.assertFalse([name for name in everything_in(self.prefix) if name.endswith(".debug")])

    def test_uninstalling_leaves_nothing(self):
        self.run_script("install_to", "--debug", self.prefix)
        self.run_script("uninstall_from", self.prefix)
        self.assertEqual(everything_in(self.trial), [])

    def test_uninstalling_removes_what_several_installations_brought(self):
        self.run_script("install_to", "--debug", self.prefix)
        self.run_script("install_to", self.prefix)
        self.run_script("uninstall_from", self.prefix)
        self.assertEqual(everything_in(self.trial), [])

    def test_uninstalling_leaves_what_was_there(self):
        (self.prefix / "lib").mkdir(parents=True)
        (self.prefix / "lib/other").write_text("other")
        (self.prefix / "etc").mkdir()
        self.run_script("install_to", self.prefix)
        self.run_script("uninstall_from", self.prefix)
        self.assertEqual(everything_in(self.prefix), ["etc", "lib", "lib/other"])

    def test_uninstalling_leaves_empty_folders_above_the_prefix(self):
        above = self.trial / "above"
        above.mkdir()
        self.run_script("install_to", above / "prefix")
        self.run_script("uninstall_from", above / "prefix")
        self.assertEqual(everything_in(self.trial), ["above"])

    def test_takes_a_prefix_from_the_callers_folder(self):
        for prefix in ("here", "down/../there", "./here/"):
            with self.subTest(prefix):
                self.run_script("install_to", prefix)
                self.assertTrue((self.trial / prefix.strip("./").split("/")[-1] / "bin/small").exists())
                self.run_script("uninstall_from", prefix)
                self.assertEqual(everything_in(self.trial), [])

    def test_refuses_a_prefix_that_nothing_was_installed_below(self):
        self.assertIn("nothing was installed", self.run_script("uninstall_from", "x", status=1).stderr)
        self.assertIn("takes the folder", self.run_script("install_to", status=1).stderr)

    def test_where_only_root_may_write_needs_a_way_to_become_it(self):
        self.run_script("install_to", self.prefix)
        programs = self.trial / "programs"
        programs.mkdir()
        for name in ("dirname", "realpath", "cat"):
            (programs / name).symlink_to(shutil.which(name))
        for place in (self.folder, self.trial):
            place.chmod(0o755)
        for command, words in (("install_to", "only root may install below"),
                               ("uninstall_from", "only root may remove")):
            before = everything_in(self.prefix)
            options = {"env": {"PATH": str(programs)}} | ({"user": 65534} if os.geteuid() == 0 else {})
            if os.geteuid() != 0:
                (self.prefix / LIST).chmod(0o444)
                self.prefix.chmod(0o555)
                self.addCleanup(self.prefix.chmod, 0o755)
            refused = self.run_script(command, self.prefix, status=1, **options)
            self.assertIn(words, refused.stderr)
            self.assertEqual(everything_in(self.prefix), before)

    def test_refuses_what_stands_after_the_folder(self):
        refused = self.run_script("install_to", self.prefix, "--debug", status=1)
        self.assertIn("--debug before the folder", refused.stderr)
        self.assertEqual(everything_in(self.trial), [])


if __name__ == "__main__":
    sys.exit(unittest.main())
