#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Each example for the loop of another library signs in against the development service, and is called back
on the thread of its loop."""

import argparse
import os
import subprocess
import sys
import tempfile
import unittest

import support

examples = []


class Example(unittest.TestCase):
    def test_greets_on_the_thread_of_its_loop(self):
        for example in examples:
            with self.subTest(example), tempfile.TemporaryDirectory(prefix="orxaccount-home.") as home:
                ready = support.service.ready
                done = subprocess.run(
                    [example, ready["caFile"], f"localhost:{ready['port']}"], text=True, capture_output=True,
                    timeout=support.WAIT, check=False,
                    env={"PATH": os.environ["PATH"], "HOME": home,
                         "DBUS_SESSION_BUS_ADDRESS": "disabled:",
                         **{name: value for name, value in os.environ.items()
                            if name.endswith("SAN_OPTIONS")}})
                self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
                self.assertRegex(done.stdout, r"\AHello \w+ from the main thread\n\Z")


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--examples", nargs="+", required=True)
    given, others = parser.parse_known_args()
    examples = given.examples
    sys.argv[1:] = others
    sys.exit(support.main(__doc__))
