"""docs/torture.md: what the last whole run has gone through."""

import datetime
import os
import platform
from pathlib import Path

HEAD = """# What the stored sign-in has gone through

Written by `./dev torture`, which kills a host application, or lets its disk fail, at every step of
what it stores (`tests/torture/`). After each incident the two files are read without the library and
must be a state of the table that the user cache defines; a new process must restore exactly whom
they name: the old user, the new one, or nobody where someone was signing out; the next sign-in and
the sign-out after it must work, with nothing deleted by hand and no trace left. Under way between the
keyring and the file, with and without a service, the same holds for the keyring's items and for the
file, which holds the item or the note where it is, whatever session comes next; the messages to the
service fail there too. Some of the states that it starts from were left by an earlier version. The report is written only when nothing has failed. `./dev test` runs a short form of
the same.

| part | what | how many | seconds |
|---|---|---:|---:|
"""


def write_report(path, seed, results):
    rows = "".join(f"| {name} | {what} | {number} | {seconds:.0f} |\n"
                   for name, what, number, seconds in results)
    machine = f"{os.cpu_count()} cores, {platform.system()} {platform.release()}"
    today = datetime.date.today().isoformat()
    Path(path).write_text(f"{HEAD}{rows}\n{today}, {machine}, seed {seed}.\n")
