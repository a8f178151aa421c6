#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of the bill of materials."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CONTROL = """Package: libone
Version: 1.2
Architecture: all
Maintainer: Nobody <nobody@example.com>
Description: one
Depends: libc6 (>= 2.36), libtwo | libthree
Recommends: libglib2.0-0, libc6
"""


class Bill(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        place = Path(folder.name)
        (place / "one" / "DEBIAN").mkdir(parents=True)
        (place / "one" / "DEBIAN" / "control").write_text(CONTROL)
        subprocess.run(["dpkg-deb", "--build", "--root-owner-group", "one", "one.deb"], cwd=place, check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run([sys.executable, "-B", ROOT / "scripts" / "sbom.py", place, place / "bill"], check=True)
        self.bill = json.loads((place / "bill").read_text())

    def test_names_what_a_package_depends_on_and_what_it_loads_where_it_is_there(self):
        scopes = {entry["name"]: entry.get("scope") for entry in self.bill["components"]}
        self.assertEqual(scopes, {"libone": None, "libc6": "required", "libtwo": "required",
                                  "libglib2.0-0": "optional"})

    def test_has_one_entry_for_each_name_and_says_who_needs_it(self):
        references = [entry["bom-ref"] for entry in self.bill["components"]]
        self.assertEqual(len(references), len(set(references)))
        (graph,) = self.bill["dependencies"]
        self.assertEqual(graph["ref"], "pkg:deb/debian/libone@1.2")
        self.assertEqual(set(graph["dependsOn"]), set(references) - {graph["ref"]})


if __name__ == "__main__":
    sys.exit(unittest.main())
