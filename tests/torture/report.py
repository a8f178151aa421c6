# SPDX-License-Identifier: MIT
"""Writes docs/torture.md, the report of the last run of each part."""

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
version.

On the wire, connections end in the handshake, after each byte of a request and after each byte of its
answer, by FIN, RST or silence, new ones and kept ones; nginx and haproxy are reloaded, and stopped and
started, in the middle of the calls. No request arrives twice, each handler is called once, and each outcome
is the right answer or an error that names the stage, the host and the cause.

A part's row is written only when nothing has failed in it. `./dev test` runs a short form.

| part | what | how many | seconds | date | seed |
|---|---|---:|---:|---|---:|
"""


def rows_of(text):
    """The rows of an earlier report, by the name of their part."""
    rows = {}
    for line in text.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if line.startswith("| ") and len(cells) == 6 and cells[0] != "part":
            rows[cells[0]] = cells
    return rows


def write_report(path, seed, results):
    """Replaces the rows of the parts that have run."""
    report = Path(path)
    rows = rows_of(report.read_text()) if report.exists() else {}
    today = datetime.date.today().isoformat()
    for name, what, number, seconds in results:
        rows[name] = [name, what, str(number), f"{seconds:.0f}", today, str(seed)]
    machine = f"{os.cpu_count()} cores, {platform.system()} {platform.release()}"
    table = "".join("| " + " | ".join(cells) + " |\n" for cells in rows.values())
    report.write_text(f"{HEAD}{table}\nThe latest on {machine}.\n")
