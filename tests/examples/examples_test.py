#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""An example runs against the development service and prints what it should.

usage: examples_test.py DEVSERVER PROGRAM LINE...     each line a regular expression
"""

import json
import os
import re
import subprocess
import sys
import tempfile


def run(devserver, program, folder):
    service = subprocess.Popen([devserver], cwd=folder, stdout=subprocess.PIPE, text=True)
    try:
        ready = json.loads(service.stdout.readline())
        # Everything but the home is the caller's, for the sanitizers' options.
        environment = {**os.environ, "HOME": folder, "XDG_CONFIG_HOME": folder + "/config",
                       "XDG_DATA_HOME": folder + "/data", "DBUS_SESSION_BUS_ADDRESS": "disabled:"}
        return subprocess.run([program, ready["caFile"], f"localhost:{ready['port']}"], env=environment,
                              capture_output=True, text=True, timeout=60)
    finally:
        service.terminate()
        service.wait()
        service.stdout.close()


def main():
    devserver, program, *lines = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="orxaccount-example.") as folder:
        done = run(devserver, program, folder)
    said = done.stdout.splitlines()
    fits = len(said) == len(lines) and all(map(re.fullmatch, lines, said))
    if not fits or done.returncode != 0:
        sys.exit(f"{program} ended with {done.returncode} and said {said}, not {lines}\n{done.stderr}")


if __name__ == "__main__":
    main()
