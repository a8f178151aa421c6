# SPDX-License-Identifier: MIT
"""The host program that makes the calls (WireHost.cpp), and what may come of one."""

import json
import re
import subprocess
import threading

PATIENCE = 120
TRANSPORT, TIMED_OUT, CONNECTION_LOST = "NSURLErrorDomain", -1001, -1005
UNTRUSTED = "could not trust the certificate of"
STAGES = ("could not find the host", "could not connect to", "could not make a secure connection to",
          UNTRUSTED, "got no answer from", "could not read the whole answer of",
          "could not take the answer of")


class Caller:
    def __init__(self, program, folder, port, milliseconds=30_000):
        self._process = subprocess.Popen(
            [program, "calls", folder, str(port), str(milliseconds)], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, text=True)
        self._changed = threading.Condition()
        self._outcomes = {}
        self._last = 0
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._process.stdout:
            outcome = json.loads(line)
            with self._changed:
                self._outcomes.setdefault(int(outcome["number"]), []).append(outcome)
                self._changed.notify_all()

    def call(self, operation):
        """(number of the call, what its handler was given)"""
        with self._changed:
            self._last += 1
            number = self._last
            self._process.stdin.write(f"{number} {operation}\n")
            self._process.stdin.flush()
            assert self._changed.wait_for(lambda: number in self._outcomes, PATIENCE), \
                f"nothing came of call {number}"
            return number, self._outcomes[number][0]

    def close(self):
        """The complaints about what it did as a whole."""
        self._process.stdin.close()
        status = self._process.wait(PATIENCE)
        self._reader.join(PATIENCE)
        self._process.stdout.close()
        complaints = [f"the handler of call {number} was called {len(self._outcomes.get(number, []))} times"
                      for number in range(1, self._last + 1) if len(self._outcomes.get(number, [])) != 1]
        return complaints + ([f"the host program ended with {status}"] if status else [])


def is_right(outcome, number):
    return re.search(rf"trial-{number}\b", json.dumps(outcome.get("result"))) is not None


def check_error(outcome, host, stages=STAGES):
    """It names the stage, the host and the cause."""
    error = outcome.get("error")
    assert error and error["domain"] == TRANSPORT, outcome
    assert any(re.fullmatch(rf"{stage} {re.escape(host)}: \S.+", error["text"]) for stage in stages), outcome
