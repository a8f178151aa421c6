# SPDX-License-Identifier: MIT
"""A server over TLS whose connections end at a chosen byte, in a chosen manner."""

import re
import socket
import ssl
import struct
import threading
from dataclasses import dataclass

FIN, RESET, SILENCE, NOTIFY = "FIN", "RST", "silence", "close_notify and FIN"
HANDSHAKE, REQUEST, ANSWER = "handshake", "request", "answer"
LENGTH, CHUNKED, BARE = "with a length", "chunked", "without a length"
CONTINUED = "chunked, behind an interim answer"
INTERIM = "HTTP/1.1 100 Continue\r\n\r\n"
PATIENCE = 60
SOAP = ("<e><ResultCode>{code}</ResultCode><ResultDesc>Fine</ResultDesc>"
        "<ReturnDataType>String</ReturnDataType><ReturnData>{data}</ReturnData></e>")


@dataclass(frozen=True)
class Death:
    """The connection ends when `at` bytes of the stage have passed, of a request the first at least.
    Those of the handshake are the server's own, as they go over the wire."""
    stage: str
    at: int
    manner: str
    kept: bool = False
    framing: str = LENGTH


class Dead(Exception):
    pass


def body_of(operation, number):
    mark = f"trial-{number}"
    if operation == "user data":
        return SOAP.format(code=0, data=mark).encode()
    if operation == "sign-in":
        return SOAP.format(code=1, data=f'[{{"login":"{mark}"}}]').encode()
    if operation == "sign-in V2":
        return f'{{"Status":0,"Result":{{"login":"{mark}"}}}}'.encode()
    return mark.encode()


def head_of(body, framing):
    framed = {LENGTH: f"Content-Length: {len(body)}", BARE: "Connection: close"}
    interim = INTERIM if framing == CONTINUED else ""
    return (f"{interim}HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n"
            f"{framed.get(framing, 'Transfer-Encoding: chunked')}\r\n\r\n").encode()


def framed(body, framing):
    if framing not in (CHUNKED, CONTINUED):
        return body
    half = len(body) // 2
    chunks = [body[:half], body[half:], b""]
    return b"".join(b"%x\r\n%s\r\n" % (len(chunk), chunk) for chunk in chunks)


def answer_of(operation, number, framing):
    body = body_of(operation, number)
    return head_of(body, framing) + framed(body, framing)


def number_in(request):
    return int(re.search(rb"trial-(\d+)", request).group(1))


def operation_in(request):
    if request.startswith(b"GET "):
        return "picture"
    if b"/api/" in request.split(b"\r\n", 1)[0]:
        return "sign-in V2"
    return "user data" if b"OrvaService" in request.split(b"\r\n", 1)[0] else "sign-in"


class Connection:
    def __init__(self, server, peer):
        self.server, self.peer = server, peer
        self.incoming, self.outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = server.context.wrap_bio(self.incoming, self.outgoing, server_side=True)
        self.sent_in_handshake = 0

    def serve(self):
        try:
            death = self.server.take((HANDSHAKE,), kept=False)
            self.drive(self.tls.do_handshake, death)
            self.flush()
            kept = False
            while True:
                self.serve_one(kept)
                kept = True
        except (Dead, OSError):
            pass
        finally:
            self.peer.close()

    def flush(self, death=None):
        data = self.outgoing.read()
        if death is None:
            self.peer.sendall(data)
            return
        self.peer.sendall(data[:death.at - self.sent_in_handshake])
        self.sent_in_handshake += len(data)
        if self.sent_in_handshake >= death.at:
            self.die(death.manner)

    def drive(self, step, death=None):
        """Calls `step` with what the peer sends until it is done."""
        while True:
            try:
                return step()
            except ssl.SSLWantReadError:
                self.flush(death)
                data = self.peer.recv(65536)
                if not data:
                    raise Dead() from None
                self.incoming.write(data)

    def read(self, count):
        data = self.drive(lambda: self.tls.read(count))
        if not data:
            raise Dead()
        return data

    def serve_one(self, kept):
        # A connection on which nothing but its end comes has not brought a request.
        request = self.read(1)
        self.server.count_arrival()
        death = self.server.take((REQUEST, ANSWER), kept)
        request = self.read_request(request, death if death and death.stage == REQUEST else None)
        operation, number = operation_in(request), number_in(request)
        self.server.note(operation, number, len(request))
        self.answer(operation, number, death)

    def read_request(self, request, death):
        while True:
            if death and len(request) >= death.at:
                self.die(death.manner)
            head, end, body = request.partition(b"\r\n\r\n")
            length = re.search(rb"(?i)\r\ncontent-length: *(\d+)", head)
            if end and not death and len(body) >= int(length.group(1) if length else 0):
                return request
            request += self.read(death.at - len(request) if death else 65536)

    def answer(self, operation, number, death):
        text = answer_of(operation, number, death.framing if death else LENGTH)
        text = text[:death.at] if death else text
        if text:
            self.tls.write(text)
            self.flush()
        if death:
            self.die(death.manner)

    def die(self, manner):
        """The next call must not meet this connection's end while it is on its way."""
        if manner == SILENCE:
            self.server.trial_over.wait(PATIENCE)
        if manner == NOTIFY:
            try:
                self.tls.unwrap()
            except ssl.SSLError:
                pass  # the peer's own close_notify is not awaited
            self.peer.sendall(self.outgoing.read())
        try:
            if manner == RESET:
                self.peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                self.peer.close()
            else:
                self.peer.shutdown(socket.SHUT_WR)
        finally:
            self.server.connection_over.set()
        # A socket that is closed with bytes unread sends RST.
        while manner != RESET and self.peer.recv(65536):
            pass
        raise Dead()


class Server:
    def __init__(self, folder, certificate="server"):
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(folder / f"{certificate}.pem", folder / f"{certificate}.key")
        # A handshake that goes on with an earlier session would be shorter than the places in it.
        self.context.num_tickets = 0
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=128)
        self.port = self.listener.getsockname()[1]
        self.lock = threading.Lock()
        self.trial_over, self.connection_over = threading.Event(), threading.Event()
        self.plan, self.arrivals, self.seen, self.open = None, 0, {}, set()
        self.request_sizes = {}
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                peer, _ = self.listener.accept()
            except OSError:
                return
            peer.settimeout(PATIENCE)
            peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            with self.lock:
                self.open.add(peer)
            threading.Thread(target=Connection(self, peer).serve, daemon=True).start()

    def begin(self, death):
        """The next connection, or the next request on a new or a kept one, meets this end."""
        with self.lock:
            self.plan, self.arrivals = death, 0
            self.trial_over.clear()
            self.connection_over.clear()

    def take(self, stages, kept):
        with self.lock:
            if self.plan and self.plan.stage in stages and self.plan.kept == kept:
                taken, self.plan = self.plan, None
                return taken
            return None

    def count_arrival(self):
        with self.lock:
            self.arrivals += 1

    def note(self, operation, number, size):
        with self.lock:
            self.request_sizes[operation] = size
            self.seen[number] = self.seen.get(number, 0) + 1

    def drop_connections(self):
        with self.lock:
            for peer in self.open:
                try:
                    peer.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass  # it has ended
            self.open.clear()

    def close(self):
        self.trial_over.set()
        self.listener.close()
        self.drop_connections()
