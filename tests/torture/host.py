# SPDX-License-Identifier: MIT
"""The host program. It carries out each request in a process of its own."""

import json
import os
import subprocess

# Root ignores file permissions, so a run by root carries the requests out as the user "nobody".
USER_ID = 65534 if os.geteuid() == 0 else None


def hand_over(path):
    """Gives the file to the user who carries out the requests."""
    if USER_ID is not None:
        os.chown(path, USER_ID, USER_ID)


class Host:
    def __init__(self, program):
        # The thread sanitizer makes every process sleep for a second before it exits.
        options = os.environ.get("TSAN_OPTIONS", "") + ":atexit_sleep_ms=0"
        self._process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         text=True, env={**os.environ, "TSAN_OPTIONS": options})

    def ask(self, home, operation, **request):
        self.send(home, operation, **request)
        return self.answer()

    def send(self, home, operation, **request):
        if USER_ID is not None:
            request["userID"] = USER_ID
        request = {"umask": 0o022, "home": str(home), "operation": operation, **request}
        self._process.stdin.write(json.dumps(request) + "\n")
        self._process.stdin.flush()

    def answer(self):
        line = self._process.stdout.readline()
        assert line, "the host program has ended"
        return json.loads(line)

    def close(self):
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait(60)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
