# SPDX-License-Identifier: MIT
"""Two checks that need no incident. First, the host program defines every system call that the library makes
to change the disk; the trials could not see one that goes to the C library. Second, the order of the calls
survives a crash of the machine, which killing a process cannot show: data is flushed before the rename, the
folder after it."""

import re
import subprocess
from itertools import product

from scenarios import SCENARIOS, Bench

CHANGES_THE_DISK = re.compile(
    r"(open|openat|creat|fopen|fdopen|freopen|mkstemp|mkostemp|mkdtemp)(64)?|mkdir(at)?|mknod(at)?|"
    r"mkfifo(at)?|p?write(v|64|v2)?|f(data)?sync|sync(fs)?|sync_file_range|rename(at2?)?|"
    r"(sym)?link(at)?|unlink(at)?|rmdir|remove|f?l?ch(mod|own)(at)?|f?truncate(64)?|"
    r"(posix_)?fallocate(64)?|flock|lockf(64)?|f?l?setxattr|f?l?removexattr|utimensat|futimens|"
    r"copy_file_range|sendfile(64)?|splice|"
    r"_ZNSt10filesystem(?!.*(is_empty|path|directory_iterator)).*|_ZN?K?St\d+basic_(o?fstream|filebuf).*")
DEFINED = {"open", "openat", "close", "write", "mkdir", "fsync", "flock", "renameat", "linkat",
           "unlinkat", "chmod", "fchmod", "fchmodat", "fchown"}


def symbols(program, *options):
    lines = subprocess.run(["nm", *options, program], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    return {line.split()[-1].split("@")[0] for line in lines}


def check(program, service):
    undefined = symbols(program, "--undefined-only")
    assert "fork" in undefined, undefined
    complaints = [f"a call that the trials cannot make fail: {name}"
                  for name in sorted(undefined) if CHANGES_THE_DISK.fullmatch(name)]
    missing = DEFINED - symbols(program, "--defined-only")
    complaints += [f"a call that the host program does not define: {name}" for name in sorted(missing)]
    return len(DEFINED), complaints + check_order(program, service)


def check_order(program, service):
    """A file is flushed before it is renamed into place, and its folder is flushed afterwards."""
    complaints = []
    seen = set()
    with Bench(program, service) as bench:
        # With the file alone, a sign-out removes it; otherwise a note stays for the keyring.
        for scenario, file_only in product(SCENARIOS, (False, True)):
            calls = bench.calls_of(scenario, fileOnly=file_only)
            for at, call in enumerate(calls):
                before, after = calls[max(at - 3, 0):at], calls[at + 1:at + 2]
                renames = call == "renameat"
                if renames and before[-2:] == ["close", "linkat"]:
                    before = calls[at - 4:at - 1]
                if (renames and before != ["write", "fsync", "close"]) or (
                        (renames or call in ("unlinkat", "mkdir")) and not settles(calls, at)):
                    complaints.append(f"{scenario}: {before} {call} {after}")
                seen.add(call)
    complaints += [f"no {call} was seen" for call in ("renameat", "unlinkat") if call not in seen]
    return complaints


def settles(calls, at):
    """Whether the folder is flushed next, or after one call that sets permissions. A mkdir that is
    followed by another mkdir has failed, because the folder around it is missing."""
    return "fsync" in calls[at + 1:at + 3] or calls[at] == "mkdir" == calls[at + 1]
