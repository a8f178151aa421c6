# SPDX-License-Identifier: MIT
"""Writes docs/torture.md, the report of the last run of each part, and docs/memory.md, that of the part in
which memory runs out."""

import datetime
import os
import platform

LIVES = """A host restores its user, signs in by password over TLS against the development service, loads the
picture, asks for a list and signs out, with the user in the file and in a keyring. In other lives a host has a loop
of its own that runs all callbacks, trusts whom the system trusts, signs in by OpenID and by ticket without having
restored anybody, or keeps no user and makes every other call."""

HEAD = f"""# Killing and failing at every step of a stored sign-in

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

{LIVES}
It lives on when a system call fails, of the library, libcurl, OpenSSL or GLib: the n-th of each name, by
EMFILE, ENOMEM, EAGAIN or EINTR, once or that one and all that come after it. No handler is lost or called
twice, each error names its cause, and after one failure the next call works.

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


def machine():
    return f"{os.cpu_count()} cores, {platform.system()} {platform.release()}"


def write_report(report, seed, name, result):
    """Replaces the row of the part that has run."""
    what, number, seconds = result
    rows = rows_of(report.read_text()) if report.exists() else {}
    rows[name] = [name, what, str(number), f"{seconds:.0f}", datetime.date.today().isoformat(), str(seed)]
    table = "".join("| " + " | ".join(cells) + " |\n" for cells in rows.values())
    report.write_text(f"{HEAD}{table}\nThe latest on {machine()}.\n")


def each_of(step):
    return "each" if step == 1 else f"one in {step}"


MEMORY_HEAD = """# A host's life in which memory runs out

Written by `./dev torture memory [--step N] [--all-allocations]` (`tests/torture/`). {lives}

In each trial one allocation fails, or that one and all that come after it: {share}. The library's own
are those of `operator new`; nearly all others are OpenSSL's, libcurl's and GLib's. After one failure:

- The process lives, nothing hangs, and each handler is called exactly once.
- What fails of the library's own says that there was no memory: `std::bad_alloc` on the caller's thread,
  otherwise an error.
- The user in memory is the one from before, or the new one where that is told, and the one of whom
  observers were told. The stores, read without the library, hold the same, or already what a sign-in
  or sign-out would have left that ran out of memory; a new process restores it. In half of the trials
  what has failed is done again, and works.

No trial fails for a vendor's code that dies, as GLib does by design, or for OpenSSL where it remembers a
failure for as long as the process lives: it begins once, prepares its random generator once, and asks its
providers once for each kind of algorithm. Then each call says so, and only a new process gets over it.
Nor where libcurl reads its certificates after a step of the handshake has failed and before it asks for
the reason: that call ends with its time-out, and the next one works. The table lists these. What libcurl
keeps, a certificate for which there was no memory among them, is read anew by the next call.

When all later allocations fail the process may end; it must not hang, and the store must hold the old
user or the new one. The report is written only when nothing of this has failed. `./dev test` runs a
short form.
"""


def write_memory_report(report, seed, share, result, vendors):
    _, number, seconds = result
    lines = [MEMORY_HEAD.format(lives=LIVES, share=share),
             f"{number} trials in {seconds:.0f} seconds, of which {sum(vendors.values())} ended in a "
             "vendor's code, which dies without memory (GLib by design), or keeps its failure:\n",
             "| how often | whose | what |", "|---:|---|---|"]
    for ending, count in vendors.most_common():
        whose, _, what = ending.partition(": ")
        lines.append(f"| {count} | {whose} | {what} |")
    lines.append(f"\n{datetime.date.today().isoformat()}, {machine()}, seed {seed}.")
    report.write_text("\n".join(lines) + "\n")
