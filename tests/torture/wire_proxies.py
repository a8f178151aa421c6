# SPDX-License-Identifier: MIT
"""Calls through nginx and haproxy that are restarted under them, to a server that answers in every way."""

import shutil
import signal
import socket
import subprocess
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from wire_caller import Caller, check_error, is_right
from wire_report import Passed
from wire_server import CHUNKED, LENGTH, body_of, framed, number_in, operation_in

THREADS = 16
PATIENCE = 60
NGINX = """daemon off; worker_processes 2; pid {folder}/nginx.pid; error_log {folder}/error.log crit;
events {{ worker_connections 1024; }}
http {{
  access_log off;
  client_body_temp_path {folder}/body; proxy_temp_path {folder}/proxy; fastcgi_temp_path {folder}/fastcgi;
  uwsgi_temp_path {folder}/uwsgi; scgi_temp_path {folder}/scgi;
  keepalive_requests 50;
  upstream counter {{ server 127.0.0.1:{upstream}; keepalive 8; }}
  server {{
    listen 127.0.0.1:{port} ssl;
    ssl_certificate {folder}/server.pem; ssl_certificate_key {folder}/server.key;
    location / {{
      proxy_pass http://counter; proxy_http_version 1.1; proxy_set_header Connection "";
      proxy_buffer_size 64k; proxy_buffers 8 64k; proxy_busy_buffers_size 128k;
    }}
  }}
}}
"""
# It sends interim answers of its own. Where it has read a server's together with the head of the answer
# and the body comes later, it leaves the body out (2.6.12): "0\r\n\r\n" in the place of the chunks.
HAPROXY = """global
  tune.bufsize 65536
defaults
  mode http
  timeout connect 10s
  timeout client 60s
  timeout server 60s
frontend face
  bind 127.0.0.1:{port} ssl crt {folder}/both.pem
  http-request early-hint Link "</style>; rel=preload" if {{ rand(3) 0 }}
  default_backend counter
backend counter
  server one 127.0.0.1:{upstream}
"""


class Counter(ThreadingHTTPServer):
    """Counts the requests and answers each in a way of its own: chunked or with a length, with headers
    of many sizes, with the connection's end after."""

    daemon_threads = True
    request_queue_size = 128

    def __init__(self):
        super().__init__(("127.0.0.1", 0), Answering)
        self.lock, self.seen = threading.Lock(), {}
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def note(self, number):
        with self.lock:
            self.seen[number] = self.seen.get(number, 0) + 1

    def handle_error(self, *_):
        pass  # a proxy that is killed leaves broken connections


class Answering(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True

    def do_POST(self):
        line = f"{self.requestline}\r\n".encode()
        request = line + self.path.encode() + self.rfile.read(int(self.headers.get("Content-Length", 0)))
        number, operation = number_in(request), operation_in(request)
        self.server.note(number)
        framing = CHUNKED if number % 2 else LENGTH
        body = body_of(operation, number)
        self.send_response(200)
        self.send_header("X-Filling", "x" * (number * 37 % 30_000))
        if framing == CHUNKED:
            self.send_header("Transfer-Encoding", "chunked")
        else:
            self.send_header("Content-Length", str(len(body)))
        if number % 5 == 0:
            self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(framed(body, framing))

    do_GET = do_POST

    def log_message(self, *_):
        pass


class Proxy:
    """One that listens for TLS at a port and hands on to the counter."""

    def __init__(self, name, folder, upstream):
        self.name = name
        with socket.create_server(("127.0.0.1", 0)) as place:
            self.port = place.getsockname()[1]
        text = {"nginx": NGINX, "haproxy": HAPROXY}[name]
        self.file = folder / f"{name}.conf"
        self.file.write_text(text.format(folder=folder, port=self.port, upstream=upstream))
        program = shutil.which(name, path="/usr/sbin:/usr/bin:/usr/local/sbin")
        self.command = {"nginx": [program, "-e", folder / "error.log", "-c", self.file],
                        "haproxy": [program, "-W", "-db", "-f", self.file]}[name]
        self.process = None

    def start(self):
        self.process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        end = time.monotonic() + PATIENCE
        while True:
            assert self.process.poll() is None and time.monotonic() < end, f"{self.name} does not start"
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
                return
            except ConnectionRefusedError:
                time.sleep(0.01)

    def reload(self):
        """New processes take over; the old ones finish what they have begun."""
        self.process.send_signal(signal.SIGHUP if self.name == "nginx" else signal.SIGUSR2)

    def stop(self):
        """At once, whatever it has begun."""
        self.process.terminate()
        self.process.wait(PATIENCE)


class Crowd:
    """Threads that make calls until so many have been made."""

    def __init__(self, caller, host, calls):
        self.caller, self.host, self.left = caller, host, calls
        self.lock = threading.Lock()
        self.made, self.answered, self.complaints = 0, set(), []

    def work(self, operations):
        while True:
            with self.lock:
                if self.left == 0:
                    return
                self.left -= 1
                operation = operations[self.left % len(operations)]
            try:
                self.make_call(operation)
            except Exception as complaint:  # of any kind: it fails this call and not the whole run
                self.complaints.append(f"{operation}: {type(complaint).__name__} {complaint}")
            with self.lock:
                self.made += 1

    def make_call(self, operation):
        number, outcome = self.caller.call(operation)
        if "result" in outcome:
            assert is_right(outcome, number), f"{number}: {outcome}"
            self.answered.add(number)
        else:
            check_error(outcome, self.host)
            time.sleep(0.02)  # while nothing listens, a call takes no time


def restart(proxy, crowd, threads, calls, restarts):
    """Reloads it, and stops and starts it, in turn, while the calls go on."""
    for turn in range(1, restarts + 1):
        while crowd.made < calls * turn // (restarts + 1) and any(thread.is_alive() for thread in threads):
            time.sleep(0.005)
        if turn % 2:
            proxy.reload()
        else:
            proxy.stop()
            proxy.start()


def torment(program, folder, host, name, calls, restarts):
    """(how many calls were answered, complaints)"""
    counter = Counter()
    proxy = Proxy(name, folder, counter.server_address[1])
    proxy.start()
    caller = Caller(program, folder, proxy.port)
    crowd = Crowd(caller, host, calls)
    operations = ("user data", "sign-in V2", "picture", "user data")
    threads = [threading.Thread(target=crowd.work, args=[operations]) for _ in range(THREADS)]
    for thread in threads:
        thread.start()
    restart(proxy, crowd, threads, calls, restarts)
    for thread in threads:
        thread.join()
    complaints = crowd.complaints + caller.close()
    proxy.stop()
    counter.shutdown()
    counter.server_close()
    complaints += [f"call {number} arrived {count} times" for number, count in counter.seen.items()
                   if count > 1]
    complaints += [f"call {number} was answered and never arrived" for number in crowd.answered
                   if number not in counter.seen]
    least = calls // 2 if restarts else calls
    if len(crowd.answered) < least:
        complaints.append(f"only {len(crowd.answered)} of {calls} calls were answered")
    return len(crowd.answered), [f"{name}, {restarts} restarts: {complaint}" for complaint in complaints]


def run(program, folder, host, full):
    """(what was done with each proxy, complaints); the short form does without haproxy."""
    done, complaints = [], []
    for name in ("nginx", "haproxy") if full else ("nginx",):
        for calls, restarts in ((2000, 0), (2000, 8)) if full else ((60, 0), (120, 2)):
            answered, more = torment(program, folder, host, name, calls, restarts)
            done.append(Passed(name, calls, restarts, answered))
            complaints += more
    return done, complaints
