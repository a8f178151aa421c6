# SPDX-License-Identifier: MIT
"""Counts user instructions and allocations under valgrind, which no load of the machine changes, and
compares them with those of docs/instructions.md."""

import json
import os
import re
import subprocess
import tempfile

# What a figure may grow by before it counts as grown.
ALLOWANCE = 0.05

# name: what `orx_bench repeat` is told, and how often it does it.
REPEATED = {
    "a call, 1 in flight": (["what=call", "inflight=1"], 400),
    "a call, 16 in flight": (["what=call", "inflight=16"], 800),
    "libcurl by hand, 1 in flight": (["what=libcurl", "inflight=1"], 400),
    "libcurl by hand, 16 in flight": (["what=libcurl", "inflight=16"], 800),
    "reading an answer of 1 KB": (["what=small"], 2000),
    "reading 100 KB on one line": (["what=large"], 20),
    "archiving a user": (["what=archive"], 400),
    "reading a user's archive": (["what=unarchive"], 400),
}
START = "start → restored user"

INTRODUCTION = """# Instructions

User instructions and allocations, libraries included, each time that it is done; written by
`./dev bench --instructions --keep`. `./dev bench --instructions` counts them anew and fails when one has grown by more
than 5 %. They depend on the compiler and on the versions of libcurl and OpenSSL, but on no load of the machine.

| what | instructions | allocations |
|---|---:|---:|
"""


# Wiping by "rep stosb" takes a cycle for 32 bytes, and valgrind counts each byte.
WIPING_IN_WORDS = {"GLIBC_TUNABLES": "glibc.cpu.x86_rep_stosb_threshold=1000000000"}


def number_in(pattern, command, environment=None):
    """The number that a tool prints at its end."""
    environment = {**(os.environ if environment is None else environment), **WIPING_IN_WORDS}
    run = subprocess.run(command, capture_output=True, text=True, check=True, env=environment)
    return int(re.search(pattern, run.stderr).group(1).replace(",", ""))


def instructions(command, environment=None):
    return number_in(r"Collected : (\d+)",
                     ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command], environment)


def allocations(command, environment=None):
    return number_in(r"Total: +[\d,]+ bytes in ([\d,]+) blocks",
                     ["valgrind", "--tool=dhat", "--dhat-out-file=/dev/null", *command], environment)


def each(count, command, times):
    """What one more time costs: the start, the connections and the end cancel out."""
    few, many = (count([*command, f"times={number}"]) for number in (times, 3 * times))
    return (many - few) / (2 * times)


def count_repeated(program):
    with subprocess.Popen([program, "serve"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          text=True) as server:
        place = json.loads(server.stdout.readline())
        reaching = [f"port={place['port']}", f"ca={place['ca']}"]
        for name, (settings, times) in REPEATED.items():
            command = [program, "repeat", *settings, *reaching]
            yield name, [each(count, command, times) for count in (instructions, allocations)]
        server.stdin.close()


def count_start(program, library):
    with tempfile.TemporaryDirectory() as home:
        environment = {name: value for name, value in os.environ.items()
                       if name != "DBUS_SESSION_BUS_ADDRESS"}
        for name in ("CONFIG_HOME", "DATA_HOME", "STATE_HOME", "CACHE_HOME", "RUNTIME_DIR"):
            environment["XDG_" + name] = home
        environment["LD_PRELOAD"] = library
        subprocess.run([program, "store"], env=environment, check=True)
        return [count([program], environment) for count in (instructions, allocations)]


def read(file):
    """{what: its figures} of the table in the file; empty when there is none."""
    if not file.exists():
        return {}
    rows = (line.strip("| \n").split(" | ") for line in file.read_text().splitlines()
            if line.startswith("| ") and not line.startswith("| what"))
    return {name: [float(text.replace(",", "")) for text in figures] for name, *figures in rows}


def grown(before, now):
    for name, figures in now.items():
        for kind, old, new in zip(("instructions", "allocations"), before.get(name, figures), figures):
            if new > old * (1 + ALLOWANCE):
                yield f"{name}: {new:,.1f} {kind}, {old:,.1f} before"


def run(root, build, keep):
    """False when something has grown."""
    counted = dict(count_repeated(str(build / "bench" / "orx_bench")))
    counted[START] = count_start(str(build / "bench" / "orx_bench_restore"),
                                 str(next((build / "src").glob("liborxaccount.so.*.*"))))
    table = "".join(f"| {name} | {figures[0]:,.0f} | {figures[1]:,.1f} |\n"
                    for name, figures in counted.items())
    print(table)
    file = root / "docs" / "instructions.md"
    complaints = list(grown(read(file), counted))
    if keep or not file.exists():
        file.write_text(INTRODUCTION + table)
        return True
    for complaint in complaints:
        print(f"grown: {complaint}")
    return not complaints
