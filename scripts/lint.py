# SPDX-License-Identifier: MIT
"""Runs clang-tidy over the project's sources, all or the named ones, with the commands of a build folder.
A source that has passed is checked again only when it, or a project file that it includes, has changed.
Exits with 1 when there is a finding."""

import argparse
import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDERS = ["src", "devserver", "tools", "examples", "fuzz", "tests", "bench"]
INCLUDE = re.compile(rb'^[ \t]*#[ \t]*include[ \t]*[<"]([^>"]+)[>"]', re.MULTILINE)


class Inclusions:
    """Finds the project's files that a source includes, directly and through others."""

    def __init__(self):
        self._contents = {}
        self._included = {}

    def content(self, path):
        if path not in self._contents:
            self._contents[path] = path.read_bytes()
        return self._contents[path]

    def _direct(self, path, folders):
        key = (path, folders)
        if key not in self._included:
            found = []
            for name in INCLUDE.findall(self.content(path)):
                places = [folder / os.fsdecode(name) for folder in (path.parent, *folders)]
                # A name that is in no project folder is a system header, which is not followed.
                found += [place.resolve() for place in places if place.is_file()][:1]
            self._included[key] = found
        return self._included[key]

    def all_of(self, source, folders):
        seen, waiting = set(), [source]
        while waiting:
            path = waiting.pop()
            if path not in seen:
                seen.add(path)
                waiting += self._direct(path, folders)
        return sorted(seen)


def project_folders(command):
    """The include folders of a compiler's command line that lie in the project."""
    folders = [Path(word[2:]) for word in shlex.split(command) if word.startswith("-I")]
    return tuple(folder for folder in folders if folder.is_relative_to(ROOT))


def digest_of(entry, inclusions, rules):
    digest = hashlib.sha256(rules)
    digest.update(entry["command"].encode())
    for path in inclusions.all_of(Path(entry["file"]).resolve(), project_folders(entry["command"])):
        digest.update(os.fsencode(path) + b"\0" + inclusions.content(path))
    return digest.hexdigest()


def tidy(build, source):
    run = subprocess.run(["clang-tidy", "-p", str(build), "--quiet", str(source)],
                         capture_output=True, text=True, check=False)
    return run.returncode, run.stdout if run.returncode == 0 or run.stdout else run.stderr


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, required=True, help="folder with compile_commands.json")
    parser.add_argument("sources", type=Path, nargs="*", help="read these only")
    arguments = parser.parse_args()

    commands = json.loads((arguments.build / "compile_commands.json").read_text())
    entries = {Path(entry["file"]).resolve(): entry for entry in commands}
    every = sorted(path for folder in FOLDERS for path in (ROOT / folder).rglob("*.cpp"))
    sources = [source.resolve() for source in arguments.sources] or every
    unknown = [source for source in sources if source not in entries]
    if unknown:
        sys.exit("not compiled in this build: " + ", ".join(map(str, unknown)))

    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
    rules = version + (ROOT / ".clang-tidy").read_bytes()
    passed = arguments.build / "passed"
    passed.mkdir(exist_ok=True)
    inclusions = Inclusions()
    marks = {source: passed / digest_of(entries[source], inclusions, rules) for source in sources}
    due = [source for source in sources if not marks[source].exists()]
    print(f"{len(sources) - len(due)} of {len(sources)} sources have not changed since they passed")

    failed = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = {pool.submit(tidy, arguments.build, source): source for source in due}
        for count, run in enumerate(concurrent.futures.as_completed(runs), 1):
            status, output = run.result()
            source = runs[run]
            print(f"[{count}/{len(due)}] {source.relative_to(ROOT)}", flush=True)
            if status == 0:
                marks[source].touch()
            else:
                print(output, flush=True)
                failed.append(source)
    if failed:
        sys.exit(f"{len(failed)} sources have findings")


if __name__ == "__main__":
    main()
