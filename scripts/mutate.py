# SPDX-License-Identifier: MIT
"""Plants small faults in the library, one at a time, and says which of them no test notices.

It works in a copy of the sources below build/mutate and records the outcome of each fault, so it
can be stopped at any time and continues there. Exits with 1 when a fault survived that
docs/mutation.md does not name.
"""

import argparse
import hashlib
import json
import re
import signal
import sys
import time
from pathlib import Path

import mutations
from mutation_runs import Build

ROOT = Path(__file__).resolve().parent.parent
PLACE = ROOT / "build" / "mutate"

# Folder → test programs to run, in this order, until one notices the fault. The first folder that matches a
# file counts.
PROGRAMS = [
    ("src/platform/base/", ["base", "formats", "service"]),
    ("src/platform/process/", ["process", "storage", "http"]),
    ("src/platform/formats/", ["formats", "service", "user"]),
    ("src/platform/queues/", ["queues", "http"]),
    ("src/platform/storage/", ["storage", "keychain", "user"]),
    ("src/platform/http/", ["contract", "http", "service"]),
    ("src/platform/keychain/secretservice/", ["secretservice", "contract"]),
    ("src/platform/keychain/SecItemFunctions.cpp", ["contract", "keychain"]),
    ("src/platform/keychain/StoreStatus.cpp", ["keychain", "user"]),
    ("src/platform/", ["keychain", "secretservice", "contract"]),
    ("src/config/", ["config", "login"]),
    ("src/service/", ["service", "login"]),
    ("src/user/ORVAAccountKeychain.cpp", ["contract", "user"]),
    ("src/user/", ["user", "login", "config"]),
    ("src/login/", ["login"]),
    ("src/c/", ["c"]),
]

# `file`: `old line` → `new line` — reason
_HARMLESS = re.compile(r"^- `([^`]+)`: `([^`]*)` → `([^`]*)` — \S", re.MULTILINE)


class Journal:
    """The outcome of each fault, as a file of JSON lines; the last line about a fault counts."""

    def __init__(self, path):
        self._path = path
        self.outcomes = {}
        self.read()

    def read(self):
        if self._path.exists():
            for line in self._path.read_text(encoding="utf-8").splitlines():
                entry = json.loads(line)
                self.outcomes[tuple(entry["key"])] = entry["outcome"]

    def note(self, key, outcome, by, seconds):
        self.outcomes[key] = outcome
        entry = {"key": key, "outcome": outcome, "by": by, "seconds": round(seconds, 1)}
        with self._path.open("a", encoding="utf-8") as file:
            file.write(json.dumps(entry, ensure_ascii=False) + "\n")


def key_of(path, mutant):
    """Identifies a fault by its line's text, so that it is known again when the line moves."""
    return (str(path), mutant.old_line, mutant.new_line)


def named_harmless(text):
    return set(_HARMLESS.findall(text))


def candidates(paths, kinds):
    found = {}
    for path in paths:
        for mutant in mutations.mutants_of((ROOT / path).read_text(encoding="utf-8")):
            if not kinds or mutant.kind in kinds:
                found.setdefault(key_of(path, mutant), mutant)
    return found


def chosen(found, seed, count):
    """A fault keeps its rank for as long as its line stays as it is, so other edits do not move it."""
    def rank(key):
        return hashlib.sha256("\0".join((str(seed), *key)).encode()).digest()
    keys = sorted(found, key=rank)[:count]
    return sorted(keys, key=lambda key: (key[0], found[key].begin, found[key].new))


def programs_for(path):
    return next(programs for folder, programs in PROGRAMS if path.startswith(folder))


def try_out(build, path, mutant):
    """("killed" | "survived" | "invalid", the test that failed)."""
    file = build.source / path
    text = file.read_text(encoding="utf-8")
    programs = programs_for(path)
    for program in programs:
        build.learn(program)
    try:
        file.write_text(mutant.applied_to(text), encoding="utf-8")
        for at, program in enumerate(programs):
            if not build.builds(program, has_fault=True):
                return "invalid", ""
            failed = build.failing_test(program, Path(path).stem, at > 0)
            if failed:
                return "killed", failed
    finally:
        file.write_text(text, encoding="utf-8")
    return "survived", ""


def show(outcome, path, mutant, more=""):
    print(f"{outcome}: {path}:{mutant.line} ({mutant.kind}){more}\n"
          f"    - {mutant.old_line}\n    + {mutant.new_line}", flush=True)


def run(found, keys, journal, place):
    builds = {}
    for at, key in enumerate(keys, 1):
        mutant = found[key]
        if key in journal.outcomes:
            continue
        # Without the thread sanitizer a test hardly ever fails for a lock that is not taken.
        kind = "thread" if mutant.kind == "lock" else "plain"
        if kind not in builds:
            sanitizer = "thread" if kind == "thread" else ""
            builds[kind] = Build(ROOT, place / kind, sanitizer, PLACE)
        begin = time.monotonic()
        outcome, by = try_out(builds[kind], key[0], mutant)
        seconds = time.monotonic() - begin
        journal.note(key, outcome, by, seconds)
        show(outcome, key[0], mutant, f" [{at} of {len(keys)}, {seconds:.1f} s] {by}")


def summary(found, keys, journal):
    """Prints the survivors and the totals; returns how many survivors docs/mutation.md does not name."""
    of = {outcome: [key for key in keys if journal.outcomes.get(key) == outcome]
          for outcome in ("killed", "survived", "invalid")}
    print()
    for key in of["survived"]:
        show("survived", key[0], found[key])
    valid = len(of["killed"]) + len(of["survived"])
    share = 100 * len(of["killed"]) / valid if valid else 100
    print(f"{valid} faults, {len(of['killed'])} killed ({share:.1f} %), "
          f"{len(of['survived'])} survived; "
          f"{len(of['invalid'])} more did not compile")
    return len(of["survived"])


def sources(wanted):
    paths = []
    for name in wanted or [ROOT / "src"]:
        place = Path(name).resolve()
        paths += sorted(place.rglob("*.cpp")) if place.is_dir() else [place]
    return [str(path.relative_to(ROOT)) for path in paths]


def main():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", help="sources, or folders of them (all of src)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=60, help="how many faults (60)")
    parser.add_argument("--kind", action="append", help="faults of this kind alone, e.g. lock")
    parser.add_argument("--shard", default="1/1",
                        help="I/N: the Ith of N parts of the faults, in a copy of its own")
    parser.add_argument("--again", choices=["survivors", "all"],
                        help="try these once more, of those that have been tried before")
    parser.add_argument("--list", action="store_true", help="print the chosen faults, run nothing")
    arguments = parser.parse_args()

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    harmless = named_harmless((ROOT / "docs" / "mutation.md").read_text(encoding="utf-8"))
    found = candidates(sources(arguments.files), arguments.kind)
    found = {key: mutant for key, mutant in found.items() if key not in harmless}
    keys = chosen(found, arguments.seed, arguments.count)
    shard, shards = (int(number) for number in arguments.shard.split("/"))
    keys = keys[len(keys) * (shard - 1) // shards:len(keys) * shard // shards]
    if arguments.list:
        for key in keys:
            show("chosen", key[0], found[key])
        return 0
    PLACE.mkdir(parents=True, exist_ok=True)
    journal = Journal(PLACE / "journal.jsonl")
    if arguments.again:
        journal.outcomes = {key: outcome for key, outcome in journal.outcomes.items()
                            if arguments.again == "survivors" and outcome != "survived"}
    run(found, keys, journal, PLACE / str(shard))
    return 1 if summary(found, keys, journal) else 0


if __name__ == "__main__":
    sys.exit(main())
