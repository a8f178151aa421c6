# SPDX-License-Identifier: MIT
"""Many threads that do everything at once for a long time, against a service whose faults change."""

import http.client
import json
import os
import socket
import statistics
import subprocess
import tempfile
import threading
import time
from pathlib import Path

ACCOUNTS = 40
PATIENCE = 120
# A shorter run is over before the memory has settled.
SHORTEST_TO_MEASURE = 60
FAULTS = ({"close": True}, {"close": True, "reset": True}, {"truncate": 0}, {"truncate": 300},
          {"truncate": 300, "reset": True}, {"delay": 30}, {"stall": 30}, {"delay": "forever"},
          {"status": 503}, {"status": 404}, {"body": "no answer at all"}, {"no-result-block": True},
          {"malformed-xml": True}, {"huge": 300_000}, {"headers": {"X-Filling": "x" * 20_000}})


def accounts():
    """Each field of an account holds the same text, so that a mixed record is recognised."""
    names = [f"user{number}@example.com" for number in range(ACCOUNTS)]
    return [{"login": name, "nick_name": name, "passwd": "correct horse", "ticket": f"ticket-of-{name}"}
            for name in names]


def plan(random):
    """Faults for some of the requests that come next, and often none."""
    return [{"match": {"nth": random.randint(1, 60)}, "do": random.choice(FAULTS)}
            for _ in range(random.choice((0, 1, 5, 20)))]


class ControlConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("control")
        self._path = str(path)

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(self._path)


def set_faults(control, faults):
    connection = ControlConnection(control)
    connection.request("PUT", "/faults", json.dumps(faults))
    response = connection.getresponse()
    assert response.status == 204, response.read()
    connection.close()


def measured(process):
    """Memory in KiB, descriptors and threads of a process."""
    folder = Path(f"/proc/{process.pid}")
    status = dict(line.split(":", 1) for line in (folder / "status").read_text().splitlines())
    return {"memory": int(status["VmRSS"].split()[0]), "descriptors": len(os.listdir(folder / "fd")),
            "threads": int(status["Threads"])}


def watch(host, control, seconds, random):
    """Changes the faults until the host's threads are about to end, and says what it measured."""
    measurements = []
    end = time.monotonic() + seconds
    while time.monotonic() < end and host.poll() is None:
        set_faults(control, plan(random))
        measurements.append(measured(host))
        time.sleep(0.2)
    set_faults(control, [])
    return measurements


def growth(measurements):
    """{what: (median of the second quarter, median of the last)}; the first quarter is the warm-up."""
    quarter = len(measurements) // 4
    return {what: tuple(int(statistics.median(each[what] for each in part))
                        for part in (measurements[quarter:2 * quarter], measurements[-quarter:]))
            for what in ("memory", "descriptors", "threads")}


def check_growth(figures):
    """Idle connections and workers come and go, and the allocator keeps what it has been given."""
    allowed = {"memory": lambda before: before * 1.05 + 4096, "descriptors": lambda before: before + 16,
               "threads": lambda before: before + 8}
    return [f"{what} grew from {before} to {after}" for what, (before, after) in figures.items()
            if after > allowed[what](before)]


def service_in(folder, program):
    (folder / "accounts.json").write_text(json.dumps(accounts()))
    service = subprocess.Popen(
        [program, "--accounts", folder / "accounts.json", "--control", folder / "control",
         "--exit-with-stdin"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    return service, json.loads(service.stdout.readline())


def run(program, devserver, seconds, random, sanitized):
    """(how many calls were made, complaints)"""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        service, ready = service_in(folder, devserver)
        # With an arena for each thread, the allocator takes memory for minutes that nobody has lost.
        environment = {**os.environ, "MALLOC_ARENA_MAX": "1", "DBUS_SESSION_BUS_ADDRESS": "disabled:",
                       "XDG_CONFIG_HOME": f"{folder}/config", "XDG_DATA_HOME": f"{folder}/data",
                       "XDG_RUNTIME_DIR": f"{folder}/run"}
        host = subprocess.Popen([program, ready["caFile"], str(ready["port"]), str(seconds), str(ACCOUNTS),
                                 str(random.getrandbits(32))], stdout=subprocess.PIPE, text=True, env=environment)
        watchdog = threading.Timer(seconds + PATIENCE, host.kill)
        watchdog.start()
        try:
            measurements = watch(host, folder / "control", seconds, random)
            output = host.communicate()[0]
        finally:
            watchdog.cancel()
            host.kill()
            host.wait()
            service.communicate()
    if host.returncode:
        return 0, [f"the host program ended with {host.returncode}"]
    report = json.loads(output)
    complaints = report["complaints"]
    print({key: value for key, value in report.items() if key != "complaints"}, flush=True)
    if seconds >= SHORTEST_TO_MEASURE:
        figures = growth(measurements)
        print("from the second quarter to the last:", figures, flush=True)
        complaints += [] if sanitized else check_growth(figures)
    if not report["signIns"] or not report["errors"]:
        complaints.append(f"nothing happened: {report}")
    return report["calls"], complaints
