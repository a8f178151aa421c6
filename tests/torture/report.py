# SPDX-License-Identifier: MIT
"""Writes docs/torture.md, the report of the last whole run."""

import datetime
import os
import platform
from pathlib import Path

HEAD = """# Killing and failing at every step of a stored sign-in

Written by `./dev torture`, which kills a host application, or makes a system call of it fail, at every
step of what it stores (`tests/torture/`). After each incident:

- The two files are read without the library and must be a state that the user cache allows.
- A new process must restore exactly the user they name: the old one, the new one, or nobody where
  somebody was signing out.
- The next sign-in and the sign-out after it must work, with nothing deleted by hand and no trace left.

While the user moves between the keyring and the file, the same must hold for the keyring's items and for
the file, which holds the item or the note where it is, whether or not the next process finds a service.
There the messages to the service fail too, and some of the states at the start were left by an earlier
version. The report is written only when nothing has failed. `./dev test` runs a short form.

| part | what | how many | seconds |
|---|---|---:|---:|
"""


def write_report(path, seed, results):
    rows = "".join(f"| {name} | {what} | {number} | {seconds:.0f} |\n"
                   for name, what, number, seconds in results)
    machine = f"{os.cpu_count()} cores, {platform.system()} {platform.release()}"
    today = datetime.date.today().isoformat()
    Path(path).write_text(f"{HEAD}{rows}\n{today}, {machine}, seed {seed}.\n")
