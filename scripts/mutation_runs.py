"""A build of a copy of the sources, and its tests, each run as a process of its own."""

import concurrent.futures
import hashlib
import json
import os
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

JOBS = os.cpu_count() or 1
# A fault may allocate, or write, without end.
MEMORY, FILE_SIZE = 8 << 30, 1 << 30
LONG = 2.0  # seconds


def _limited(is_sanitized):
    # The thread sanitizer reserves far more addresses than it uses.
    if not is_sanitized:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Build:
    """One folder with a copy of the sources and what is built of it, without debug information."""

    def __init__(self, root, place, sanitizer):
        self.source = place / "source"
        self._build = place / "build"
        self._scratch = place / "scratch"
        self._is_sanitized = bool(sanitizer)
        self._tests = {}
        self._filters = {}
        self._copy(root)
        flags = ["-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O0 -w -D_GLIBCXX_ASSERTIONS", f"-DORX_SANITIZE={sanitizer}",
                 "-DORX_BUILD_FUZZERS=OFF", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
        if shutil.which("ccache"):
            flags += ["-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
        if shutil.which("ld.lld"):
            flags.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        subprocess.run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self._build, *flags],
                       stdout=subprocess.DEVNULL, check=True)

    def _copy(self, root):
        """Files that are the same keep their time, so that they are not compiled again."""
        listed = subprocess.run(["git", "ls-files", "-z", "-co", "--exclude-standard"], cwd=root,
                                capture_output=True, text=True, check=True).stdout
        wanted = {name for name in listed.split("\0") if name and (root / name).is_file()}
        for name in wanted:
            old, new = self.source / name, root / name
            if not old.exists() or old.read_bytes() != new.read_bytes():
                old.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(new, old)
        for path in list(self.source.rglob("*")):
            if path.is_file() and str(path.relative_to(self.source)) not in wanted:
                path.unlink()

    def builds(self, program):
        return subprocess.run(["ninja", "-C", self._build, f"{program}_tests"],
                              stdout=subprocess.DEVNULL, check=False).returncode == 0

    def learn(self, program):
        """Which tests the program has and how long each takes; those that fail without a fault are
        left aside."""
        if program in self._tests:
            return
        if not self.builds(program):
            sys.exit(f"{program}_tests does not build")
        path = self._path_of(program)
        known = self._build / f"{program}_tests.times.json"
        digest = hashlib.sha256(path.read_bytes()).hexdigest()
        learnt = json.loads(known.read_text()) if known.exists() else {}
        if learnt.get("digest") != digest:
            tests = self._timed(program)
            learnt = {"digest": digest, "tests": tests, "together": self._together(program, tests)}
            known.write_text(json.dumps(learnt))
        self._tests[program] = learnt["tests"]
        self._filters[program] = learnt["together"]

    def _path_of(self, program):
        return self._build / "tests" / f"{program}_tests"

    def _timed(self, program):
        print(f"learning how long the tests of {program} take", flush=True)
        listing = self._build / "listing.json"
        subprocess.run([self._path_of(program), "--gtest_list_tests", f"--gtest_output=json:{listing}"],
                       stdout=subprocess.DEVNULL, check=True)
        tests = [(f"{suite['name']}.{test['name']}", Path(test["file"]).stem)
                 for suite in json.loads(listing.read_text())["testsuites"]
                 for test in suite["testsuite"]]

        def timed(test):
            begin = time.monotonic()
            passed = self._passes(program, test[0], 120, threading.Event())
            return (*test, time.monotonic() - begin) if passed else (*test, None)

        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            results = list(pool.map(timed, tests))
        for name, _, seconds in results:
            if seconds is None:
                print(f"left aside, for it fails without a fault: {program}/{name}", flush=True)
        return [result for result in results if result[2] is not None]

    def _together(self, program, tests):
        """The filter that runs all quick tests in one process; None when they disturb each other."""
        quick = ":".join(test[0] for test in tests if test[2] < LONG)
        passes = all(self._passes(program, quick, 120, threading.Event()) for _ in range(2))
        return quick if passes else None

    def _passes(self, program, name, limit, stop):
        scratch = self._scratch / f"{threading.get_ident()}"
        scratch.mkdir(parents=True, exist_ok=True)
        environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS="disabled:", TMPDIR=str(scratch),
                           HOME=str(scratch), GTEST_FAIL_FAST="1")
        environment["TSAN_OPTIONS"] = \
            f"halt_on_error=1:suppressions='{self.source}/scripts/thread-sanitizer.supp'"
        command = [self._path_of(program), f"--gtest_filter={name}"]
        if self._is_sanitized:
            command = ["setarch", "--addr-no-randomize", *command]
        process = subprocess.Popen(
            command, env=environment, cwd=self._build / "tests", stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
            preexec_fn=lambda: _limited(self._is_sanitized))
        begin = time.monotonic()
        try:
            while process.poll() is None and not stop.is_set():
                if time.monotonic() - begin > limit:
                    return False
                try:
                    process.wait(0.2)
                except subprocess.TimeoutExpired:
                    pass
            return process.poll() == 0
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
            shutil.rmtree(scratch, ignore_errors=True)

    def _fails_twice(self, program, name, seconds, stop):
        """A hang counts as noticed; one failure on a busy machine does not."""
        limit = 10 + 6 * seconds
        return not any(self._passes(program, name, limit, stop) or stop.is_set() for _ in range(2))

    def failing_test(self, program, stem, is_far):
        """The first test of the program that fails or hangs; None when all pass. Those in the file
        that is named after the source go first, then the quick ones; of a program that is far from the
        source, the long ones do not go at all."""
        tests = sorted(self._tests[program], key=lambda test: (not test[1].startswith(stem), test[2]))
        if is_far:
            tests = [test for test in tests if test[2] < LONG]
        together = self._filters[program]
        if together:
            seconds = sum(test[2] for test in tests if test[2] < LONG)
            if self._fails_twice(program, together, seconds, threading.Event()):
                return f"{program}/*"
            tests = [test for test in tests if test[2] >= LONG]
        stop = threading.Event()
        failed = []

        def attempt(test):
            if stop.is_set():
                return
            if self._fails_twice(program, test[0], test[2], stop):
                failed.append(f"{program}/{test[0]}")
                stop.set()

        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            list(pool.map(attempt, tests))
        return failed[0] if failed else None
