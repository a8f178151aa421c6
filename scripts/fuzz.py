#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs fuzz targets, one after the other, each with its dictionary and all inputs that are kept.

usage: fuzz.py BUILD [--corpora | --minimise] [--jobs N] [--report [--until N]] [TARGET] [SECONDS]
       fuzz.py BUILD --add LOG...

  --corpora    reads every kept input once
  --minimise   puts into fuzz/corpus the smallest inputs that reach what the working corpus reaches beyond
               those with a name of their own
  --jobs N     fuzzes with N processes
  --report     adds what was reached to the table of docs/fuzzing.md; a run that is stopped counts, too
  --until N    fuzzes a target until its row counts N executions, however long that takes
  --add LOG... adds what fuzzers have printed into these files, each named TARGET.ANYTHING, which then go
"""

import argparse
import fcntl
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
REPORT = ROOT / "docs" / "fuzzing.md"
LARGEST_INPUT = 4096
LIMITS = ["-timeout=10", "-rss_limit_mb=2048", f"-max_len={LARGEST_INPUT}"]
# One input for each edge: with how often each is passed, there would be ten times as many. What is longer is cut.
SMALLEST = ["-set_cover_merge=1", "-use_counters=0", "-max_len=1024"]
# To weigh the inputs by how rare their features are takes a third of all time, and reaches no more of them.
FUZZING = ["-entropic=0", "-print_final_stats=1"]
# GLib keeps the name of every error for ever, and SQLite what it may use again, so the leak sanitizer would look
# after an input, in vain and up to seventy times as long as the input takes. It looks at the end all the same.
KEEPING = {"devservice": ["-detect_leaks=0"], "secret_service": ["-detect_leaks=0"]}
# What one input frees, which the growth check bounds, fits into this quarantine; the usual one is all cache misses.
# Who allocated what a finding is about is told when its input is run again, without these.
SANITIZER = {"ASAN_OPTIONS": "quarantine_size_mb=16:malloc_context_size=0"}
# How a fuzzer ends that was told to stop.
STOPPED = 72
# Files in memory: some targets write one for each input.
MEMORY = "/dev/shm"


def output_of(command, folder):
    """What the command printed, which is shown while it runs, and whether it was stopped; ends this program when it
    fails. To stop this program stops the command, which then prints what it has reached."""
    environment = SANITIZER | dict(os.environ) | ({"TMPDIR": MEMORY} if os.access(MEMORY, os.W_OK) else {})
    lines = []
    with subprocess.Popen([str(part) for part in command], cwd=folder, env=environment, errors="replace",
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda *_: process.send_signal(signal.SIGINT))
        for line in process.stdout:
            print(line, end="", flush=True)
            lines.append(line)
    if process.returncode not in (0, STOPPED):
        sys.exit(f"fuzz: {command[0]} has found something: its input lies in {folder}")
    return "".join(lines), process.returncode == STOPPED


def figures_of(output):
    """Executions, edges and features that one run has printed, with one process or several."""
    counts = re.findall(r"#(\d+)[:\t ].*?cov: (\d+) ft: (\d+)", output)
    executed = re.findall(r"stat::number_of_executed_units: (\d+)", output)
    count, edges, features = counts[-1] if counts else ("0", "0", "0")
    return int(executed[-1] if executed else count), int(edges), int(features)


def minimise(program, folders, kept, build):
    """Whatever people wrote and named stays, and what the fuzzer adds is what reaches more."""
    with tempfile.TemporaryDirectory(dir=build) as smallest:
        for path in kept.iterdir():
            if not re.fullmatch("[0-9a-f]{12}", path.name):
                shutil.copy(path, smallest)
        output_of([program, *LIMITS, *SMALLEST, smallest, *folders], build)
        shutil.rmtree(kept)
        kept.mkdir()
        for path in Path(smallest).iterdir():
            name = path.name[:12] if re.fullmatch("[0-9a-f]{40}", path.name) else path.name
            shutil.copy(path, kept / name)


def note(name, figures):
    """Adds the executions to those of the target's row, and keeps the largest coverage."""
    kept = list((ROOT / "fuzz" / "corpus" / name).iterdir())
    size = sum(path.stat().st_size for path in kept)
    with open(REPORT, "r+", encoding="utf-8") as report:
        # Several of these programs may run at the same time.
        fcntl.flock(report, fcntl.LOCK_EX)
        change(report, name, figures, len(kept), size)


def change(report, name, figures, kept, size):
    executions, edges, features = figures
    text = report.read()
    cell = r"([^|\n]*)"
    row = re.search(rf"^\| `{name}` \|{cell}\|[^|\n]*\|[^|\n]*\|{cell}\|{cell}\|$", text, re.MULTILINE)
    if row:
        earlier = [int(number.replace(",", "")) for number in row.groups()]
        executions, edges, features = (executions + earlier[0], max(edges, earlier[1]), max(features, earlier[2]))
    line = f"| `{name}` | {executions:,} | {kept} | {size:,} | {edges:,} | {features:,} |"
    text = text.replace(row.group(), line) if row else text.replace("|---:|\n", f"|---:|\n{line}\n", 1)
    report.seek(0)
    report.truncate()
    report.write(with_sum(text))
    print(f"{name}: {executions:,} executions in all")


def with_sum(text):
    found = re.findall(r"^\| `(\w+)` \| ([\d,]+) \|", text, re.MULTILINE)
    rows = {name: int(number.replace(",", "")) for name, number in found}
    fewest = min(rows, key=rows.get)
    line = f"In all: {sum(rows.values()):,} executions; the fewest are those of `{fewest}`: {rows[fewest]:,}."
    return re.sub(r"^In all: .*$", line, text, flags=re.MULTILINE)


def executed(name):
    """How many executions the target's row counts."""
    row = re.search(rf"^\| `{name}` \| ([\d,]+) \|", REPORT.read_text(encoding="utf-8"), re.MULTILINE)
    return int(row.group(1).replace(",", "")) if row else 0


def fuzz(program, folders, options, asked, build):
    """Whether to go on with the next target."""
    name = program.name.removesuffix("_fuzzer")
    if asked.until and executed(name) >= asked.until:
        return True
    options = options + FUZZING + ([f"-fork={asked.jobs}"] if asked.jobs > 1 else [])
    options.append(f"-runs={asked.until - executed(name)}" if asked.until else f"-max_total_time={asked.seconds}")
    output, stopped = output_of([program, *options, *folders], build)
    if asked.report:
        note(name, figures_of(output))
    return not stopped


def add(log):
    text = log.read_text(encoding="utf-8", errors="replace")
    note(log.name.split(".")[0], figures_of(text))
    if "SUMMARY: " in text:
        print(f"fuzz: {log.name} has found something:", *text.splitlines()[-60:], sep="\n")
    log.unlink()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=Path)
    parser.add_argument("target", nargs="?")
    parser.add_argument("seconds", nargs="?", type=int, default=60)
    parser.add_argument("--corpora", action="store_true")
    parser.add_argument("--minimise", action="store_true")
    parser.add_argument("--report", action="store_true")
    parser.add_argument("--until", type=int)
    parser.add_argument("--add", type=Path, nargs="+", default=[])
    parser.add_argument("--jobs", type=int, default=1)
    asked = parser.parse_intermixed_args()
    for log in asked.add:
        add(log)
    if asked.add:
        return
    build = asked.build.resolve()
    names = sorted(path.name.removesuffix("Fuzzer.cpp") for path in (ROOT / "fuzz").glob("*Fuzzer.cpp"))
    if asked.target and asked.target not in names:
        sys.exit(f"fuzz: no target '{asked.target}'; there are: {' '.join(names)}")
    for name in [asked.target] if asked.target else names:
        program = build / "fuzz" / f"{name}_fuzzer"
        kept = ROOT / "fuzz" / "corpus" / name
        working = build / "corpus" / name
        working.mkdir(parents=True, exist_ok=True)
        dictionary = ROOT / "fuzz" / "dictionaries" / f"{name}.dict"
        options = LIMITS + KEEPING.get(name, []) + ([f"-dict={dictionary}"] if dictionary.exists() else [])
        print(f"\n== {name}", flush=True)
        if asked.minimise:
            minimise(program, [kept, working], kept, build)
        elif asked.corpora:
            os.environ["ORX_FUZZ_STRETCH_ALL"] = "1"
            output_of([program, "-runs=0", *options, working, kept], build)
        elif not fuzz(program, [working, kept], options, asked, build):
            break


main()
