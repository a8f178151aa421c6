# SPDX-License-Identifier: MIT
"""A build of a copy of the sources, and its tests, each run as a process of its own."""

import concurrent.futures
import hashlib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

JOBS = os.cpu_count() or 1
# Limits in bytes: a fault may allocate or write without end.
MEMORY, FILE_SIZE = 8 << 30, 1 << 30
LONG = 2.0  # seconds
_FAILED = re.compile(r"^\[  FAILED  \] ([^\s,]+)", re.MULTILINE)
_RUN = re.compile(r"^\[ RUN      \] (\S+)", re.MULTILINE)


def _limited(is_sanitized):
    # The thread sanitizer reserves far more address space than this limit.
    if not is_sanitized:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Build:
    """A folder with a copy of the sources and its build, without debug information."""

    def __init__(self, root, place, sanitizer, times):
        self._times = times
        self.source = place / "source"
        # The usual name of the build folder, so that a compiler cache knows most files already.
        self._build = self.source / "build" / "release"
        self._scratch = place / "scratch"
        self._is_sanitized = bool(sanitizer)
        self._tests = {}
        self._filters = {}
        self._copy(root)
        compiler = place / "compiler"
        cache = shutil.which("ccache") or ""
        compiler.write_text(f'#!/bin/sh\nexec {cache} "$@" $ORX_FAULT_FLAGS\n', encoding="utf-8")
        compiler.chmod(0o755)
        flags = ["-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O0", f"-DORX_SANITIZE={sanitizer}",
                 "-DORX_BUILD_FUZZERS=OFF", "-DORX_QUICK_PROGRAMS=OFF",
                 "-DCMAKE_SUPPRESS_REGENERATION=ON",
                 "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON",
                 "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
                 f"-DCMAKE_C_COMPILER_LAUNCHER={compiler}",
                 f"-DCMAKE_CXX_COMPILER_LAUNCHER={compiler}"]
        if shutil.which("ld.lld"):
            flags.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        subprocess.run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self._build, *flags],
                       stdout=subprocess.DEVNULL, check=True)

    def _copy(self, root):
        """Copies changed files only: a new modification time would compile a file again."""
        listed = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=root,
                                capture_output=True, text=True, check=True).stdout
        wanted = {name for name in listed.split("\0") if name and (root / name).is_file()}
        for name in wanted:
            old, new = self.source / name, root / name
            if not old.exists() or old.read_bytes() != new.read_bytes():
                old.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(new, old)
        for path in list(self.source.rglob("*")):
            name = str(path.relative_to(self.source))
            if path.is_file() and name not in wanted and not name.startswith("build/"):
                path.unlink()

    def builds(self, program, has_fault=False):
        # -w, because a fault may leave a variable unused, and -Werror would then reject it.
        settings = {}
        if has_fault:
            settings = {"ORX_FAULT_FLAGS": "-w -D_GLIBCXX_ASSERTIONS", "CCACHE_DISABLE": "1"}
        return subprocess.run(["ninja", "-C", self._build, f"{program}_tests"],
                              env=os.environ | settings,
                              stdout=subprocess.DEVNULL, check=False).returncode == 0

    def learn(self, program):
        """Finds the program's tests and how long each takes, except for those that fail without a fault."""
        if program in self._tests:
            return
        if not self.builds(program):
            sys.exit(f"{program}_tests does not build")
        tests = self._listed(program)
        known = self._times / f"{program}.times.json"
        digest = hashlib.sha256(repr(tests).encode()).hexdigest()
        learnt = json.loads(known.read_text()) if known.exists() else {}
        if learnt.get("digest") != digest:
            tests = self._timed(program, tests)
            learnt = {"digest": digest, "tests": tests, "together": self._together(program, tests)}
            known.write_text(json.dumps(learnt))
        self._tests[program] = learnt["tests"]
        self._filters[program] = learnt["together"]

    def _path_of(self, program):
        return self._build / "tests" / f"{program}_tests"

    def _listed(self, program):
        listing = self._build / "listing.json"
        subprocess.run([self._path_of(program), "--gtest_list_tests",
                        f"--gtest_output=json:{listing}"],
                       stdout=subprocess.DEVNULL, check=True)
        return [(f"{suite['name']}.{test['name']}", Path(test["file"]).stem)
                for suite in json.loads(listing.read_text())["testsuites"]
                for test in suite["testsuite"]]

    def _timed(self, program, tests):
        print(f"learning how long the tests of {program} take", flush=True)

        def timed(test):
            begin = time.monotonic()
            failed = self._failure(program, test[0], 120)
            return None if failed else (*test, time.monotonic() - begin)

        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            results = list(pool.map(timed, tests))
        for test, result in zip(tests, results):
            if not result:
                print(f"left aside, for it fails without a fault: {program}/{test[0]}", flush=True)
        return [result for result in results if result]

    def _together(self, program, tests):
        """The quick tests that pass together in one process. When one fails there, its whole suite is left
        out."""
        quick = [test[0] for test in tests if test[2] < LONG]
        for _ in range(8):
            failed = self._failure(program, ":".join(quick), 120)
            if not failed:
                return quick
            quick = [name for name in quick if name.split(".")[0] != failed.split(".")[0]]
        return []

    def _failure(self, program, names, limit, stop=None):
        """The test that failed, or that was running when the program died or hung; None when all pass or
        `stop` is set."""
        scratch = self._scratch / f"{threading.get_ident()}"
        scratch.mkdir(parents=True, exist_ok=True)
        # Without LD_BIND_NOW the dynamic linker leaves registers on a stack, where tests find secrets.
        environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS="disabled:", TMPDIR=str(scratch),
                           HOME=str(scratch), LD_BIND_NOW="1")
        environment["TSAN_OPTIONS"] = \
            f"halt_on_error=1:suppressions='{self.source}/scripts/thread-sanitizer.supp'"
        command = [self._path_of(program), f"--gtest_filter={names}", "--gtest_fail_fast"]
        if self._is_sanitized:
            command = ["setarch", "--addr-no-randomize", *command]
        output = scratch.with_suffix(".output")
        with output.open("wb") as file:
            process = subprocess.Popen(
                command, env=environment, cwd=self._build / "tests", stdin=subprocess.DEVNULL,
                stdout=file, stderr=subprocess.DEVNULL, start_new_session=True,
                preexec_fn=lambda: _limited(self._is_sanitized))
        begin = time.monotonic()
        try:
            while process.poll() is None and not (stop and stop.is_set()):
                if time.monotonic() - begin > limit:
                    break
                try:
                    process.wait(0.1)
                except subprocess.TimeoutExpired:
                    pass
            if process.poll() == 0 or (stop and stop.is_set()):
                return None
            text = output.read_text(encoding="utf-8", errors="replace")
            return (_FAILED.findall(text) or _RUN.findall(text) or [names])[-1]
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
            shutil.rmtree(scratch, ignore_errors=True)

    def _fails_twice(self, program, names, seconds, stop=None):
        """The test that noticed the fault. A hang counts at once; a failure must happen twice, as a busy
        machine can cause one."""
        limit = 8 + 5 * seconds
        begin = time.monotonic()
        failed = self._failure(program, names, limit, stop)
        if not failed or time.monotonic() - begin > limit:
            return failed
        return (self._failure(program, failed, limit, stop)
                or self._failure(program, names, limit, stop))

    def failing_test(self, program, stem, is_far):
        """The first test of the program that fails or hangs; None when all pass. First run the tests that
        pass together in one process, then the others. Of a program that is far from the source the long tests
        are skipped."""
        together = self._filters[program]
        if together:
            seconds = sum(test[2] for test in self._tests[program] if test[0] in together)
            failed = self._fails_twice(program, ":".join(together), seconds)
            if failed:
                return f"{program}/{failed}"
        tests = sorted((test for test in self._tests[program] if test[0] not in together
                        and not (is_far and test[2] >= LONG / 4)),
                       key=lambda test: (not test[1].startswith(stem), test[2]))
        stop = threading.Event()
        failures = []

        def attempt(test):
            failed = not stop.is_set() and self._fails_twice(program, test[0], test[2], stop)
            if failed:
                failures.append(f"{program}/{failed}")
                stop.set()

        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            list(pool.map(attempt, tests))
        return failures[0] if failures else None
