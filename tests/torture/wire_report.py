# SPDX-License-Identifier: MIT
"""Writes docs/wire.md: where connections have ended, and in which manner, in the last run of the wire's trials."""

import datetime
from dataclasses import dataclass

from report import machine
from wire_server import FIN, NOTIFY, RESET, SILENCE

# Where a connection ends.
IN_HANDSHAKE = "in the handshake"
IN_REQUEST = "within the request, after each of its bytes"
SENT = "after the request"
IN_HEAD = "within the head of the answer, after each of its bytes"
AFTER_HEAD = "after the head of the answer"
IN_BODY = "within the body of the answer, after each of its bytes"
AFTER = "after the answer"
PLACES = (IN_HANDSHAKE, IN_REQUEST, SENT, IN_HEAD, AFTER_HEAD, IN_BODY, AFTER)
MANNERS = (FIN, RESET, NOTIFY, SILENCE)

HEAD = """# Where connections end

Written by `./dev torture wire` (`tests/torture/`) when nothing has failed in it. A host fetches user data, signs in
over both interfaces and loads a picture, over TLS, while the connection ends at the given place in the given manner.
The answers have a length, or are chunked, or come behind an interim answer, or end with the connection. Of the
ends by silence, each of which waits for a time-out, a sample is taken. Each time:

- The request arrives once at most, and the handler is called once.
- The outcome is the right answer, or an error that names the stage, the host and the cause: a time-out after silence,
  a lost connection otherwise. An answer whose length nobody has told is whole only when the end of it was told.
- The next call works.
"""


@dataclass(frozen=True)
class Passed:
    """Calls through a proxy."""
    proxy: str
    calls: int
    restarts: int
    answered: int


def table(head, rows):
    rule = ["---" if index == 0 else "---:" for index in range(len(head))]
    return "".join("| " + " | ".join(map(str, cells)) + " |\n" for cells in (head, rule, *rows))


def rows_of(met):
    for place in PLACES:
        for kept in (False, True):
            counts = [met[place, kept, manner] for manner in MANNERS]
            if any(counts):
                yield [place + (", of a kept connection" if kept else ""), *counts]


def write(report, seed, details):
    met, expired, proxies = details
    report.write_text("\n".join((
        HEAD,
        table(["where", *MANNERS], rows_of(met)),
        f"{expired} calls met a certificate that had expired the day before: each says so, with the host, and has "
        "sent no request.\n",
        "Through proxies, 16 threads make calls while the proxy is reloaded, and stopped and started, in turn; a "
        "counter behind it sees no request twice. Where it is not restarted every call is answered.\n",
        table(["proxy", "restarts", "calls", "answered", "ended with an error"],
              [[each.proxy, each.restarts, each.calls, each.answered, each.calls - each.answered]
               for each in proxies]),
        f"{datetime.date.today().isoformat()}, {machine()}, seed {seed}.\n")))
