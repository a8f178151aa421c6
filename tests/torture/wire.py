# SPDX-License-Identifier: MIT
"""Calls over connections that end at every byte, and through proxies that are restarted."""

import collections
import queue
import subprocess
import tempfile
import threading
from pathlib import Path

import wire_proxies
from wire_caller import CONNECTION_LOST, TIMED_OUT, UNTRUSTED, Caller, check_error, is_right
from wire_server import (ANSWER, BARE, CHUNKED, CONTINUED, FIN, HANDSHAKE, LENGTH, NOTIFY, PATIENCE, REQUEST,
                         RESET, SILENCE, Death, Server, answer_of, body_of, head_of)
from wire_report import AFTER, AFTER_HEAD, IN_BODY, IN_HANDSHAKE, IN_HEAD, IN_REQUEST, SENT

OPERATIONS = ("user data", "sign-in", "sign-in V2", "picture")
SILENCE_MILLISECONDS = 3000
# Fewer than a server sends before the client's part of a handshake is due.
HANDSHAKE_BYTES = 600
# What the error of a sign-in is when there was no result block to read.
NO_BLOCK = {"domain": "com.orva.account", "code": 7, "text": ""}


def deaths_of(operation, request_size, manners):
    """Every place at which a connection can end."""
    for manner in manners:
        for at in (0, 1, 5, 6, 127, 500, HANDSHAKE_BYTES):
            yield Death(HANDSHAKE, at, manner)
        for kept in (False, True):
            for at in range(1, request_size + 1):
                yield Death(REQUEST, at, manner, kept)
            for framing in (LENGTH, CHUNKED, BARE, CONTINUED):
                for at in range(len(answer_of(operation, 1, framing)) + 1):
                    yield Death(ANSWER, at, manner, kept, framing)


def cell_of(operation, death):
    """Where it is counted in the report."""
    return place_of(operation, death), death.kept, death.manner


def place_of(operation, death):
    if death.stage != ANSWER:
        return {HANDSHAKE: IN_HANDSHAKE, REQUEST: IN_REQUEST}[death.stage]
    head = len(head_of(body_of(operation, 1), death.framing))
    if death.at >= head:
        whole = len(answer_of(operation, 1, death.framing))
        return AFTER if death.at == whole else IN_BODY if death.at > head else AFTER_HEAD
    return IN_HEAD if death.at else SENT


def trials_of(sizes, manners, share):
    """Each `share`-th of all operations' trials, and of each place and manner the first."""
    chosen, met = [], collections.Counter()
    for operation in OPERATIONS:
        for death in deaths_of(operation, sizes[operation], manners):
            if met[cell_of(operation, death)] % share == 0:
                chosen.append((operation, death))
            met[cell_of(operation, death)] += 1
    return chosen


class Trial:
    """One caller with a server of its own."""

    def __init__(self, program, folder, host, milliseconds, certificate="server"):
        self.server = Server(folder, certificate)
        self.caller = Caller(program, folder, self.server.port, milliseconds)
        self.host = host

    def run(self, operation, death):
        self.server.drop_connections()
        if death.kept:
            self.make_fine_call(operation)
        self.server.begin(death)
        number, outcome = self.caller.call(operation)
        assert self.server.plan is None, f"the connection did not get there: {outcome}"
        assert self.server.arrivals <= 1, f"the request was sent {self.server.arrivals} times"
        self.check(operation, death, number, outcome)
        self.server.trial_over.set()
        assert self.server.connection_over.wait(PATIENCE), "the connection has not ended"
        self.make_fine_call(operation)

    def make_fine_call(self, operation):
        number, outcome = self.caller.call(operation)
        assert is_right(outcome, number), f"the call around it: {outcome}"

    def check(self, operation, death, number, outcome):
        whole = death.stage == ANSWER and death.at >= len(answer_of(operation, number, death.framing))
        if whole and (death.framing != BARE or death.manner == NOTIFY):
            assert is_right(outcome, number), outcome
            return
        if "result" in outcome or outcome["error"]["domain"] != "NSURLErrorDomain":
            self.check_partial(operation, death, number, outcome)
            return
        check_error(outcome, self.host)
        if death.manner == SILENCE:
            assert outcome["error"]["code"] == TIMED_OUT and "timed out" in outcome["error"]["text"], outcome
        elif death.stage != HANDSHAKE:
            assert outcome["error"]["code"] == CONNECTION_LOST, outcome

    def check_partial(self, operation, death, number, outcome):
        """A sign-in reads what has come of its answer: a whole result block, or an error."""
        came = answer_of(operation, number, death.framing)[:death.at]
        assert death.stage == ANSWER, outcome
        assert len(came) >= len(head_of(body_of(operation, number), death.framing)), outcome
        if death.framing == BARE and death.manner == NOTIFY:
            return  # an answer that is whole, though not what was meant
        assert operation == "sign-in", outcome
        if "result" in outcome:
            assert is_right(outcome, number) and b"</ReturnData>" in came, outcome
        else:
            assert outcome["error"] == NO_BLOCK, outcome

    def close(self):
        complaints = self.caller.close()
        self.server.close()
        complaints += [f"call {number} arrived {count} times" for number, count in self.server.seen.items()
                       if count > 1]
        return complaints


def run_all(program, folder, host, trials, workers, milliseconds):
    """The complaints about trials, each an operation and a death, shared out among the workers."""
    waiting, complaints = queue.SimpleQueue(), []
    for trial in trials:
        waiting.put(trial)

    def work():
        mine = Trial(program, folder, host, milliseconds)
        while not waiting.empty():
            try:
                operation, death = waiting.get_nowait()
            except queue.Empty:
                break
            try:
                mine.run(operation, death)
            except Exception as complaint:  # of any kind: it fails this trial and not the whole run
                complaints.append(f"{operation}, {death}: {type(complaint).__name__} {complaint}")
        complaints.extend(mine.close())

    threads = [threading.Thread(target=work) for _ in range(workers)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return complaints


def request_sizes(program, folder, host):
    """The bytes of the shortest request of each operation."""
    trial = Trial(program, folder, host, 30_000)
    for operation in OPERATIONS:
        trial.make_fine_call(operation)
    complaints = trial.close()
    assert not complaints, complaints
    return trial.server.request_sizes


def expired_calls(program, folder, host):
    """The complaints about each operation's call to a server with a certificate of yesterday."""
    trial, complaints = Trial(program, folder, host, 30_000, "expired"), []
    for operation in OPERATIONS:
        _, outcome = trial.caller.call(operation)
        try:
            check_error(outcome, host, (UNTRUSTED,))
            assert "expired" in outcome["error"]["text"], outcome
        except AssertionError as complaint:
            complaints.append(f"{operation}, an expired certificate: {complaint}")
    if trial.server.arrivals:
        complaints.append("a request was sent in spite of the expired certificate")
    return complaints + trial.close()


def run(program, full):
    """(how many calls met something, complaints, what docs/wire.md tells of them)"""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        host = subprocess.run([program, "certificates", folder], check=True, capture_output=True,
                              text=True).stdout.strip()
        sizes = request_sizes(program, folder, host)
        quick = trials_of(sizes, (FIN, RESET, NOTIFY), 1 if full else 131)
        silent = trials_of(sizes, (SILENCE,), 41 if full else 1009)
        complaints = run_all(program, folder, host, quick, 4, 30_000)
        complaints += run_all(program, folder, host, silent, 16 if full else 8, SILENCE_MILLISECONDS)
        complaints += expired_calls(program, folder, host)
        proxies, more = wire_proxies.run(program, folder, host, full)
    met = collections.Counter(cell_of(operation, death) for operation, death in quick + silent)
    number = met.total() + len(OPERATIONS) + sum(each.calls for each in proxies)
    return number, complaints + more, (met, len(OPERATIONS), proxies)
