#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""An HTTP proxy on loopback that is reached over TLS. Every CONNECT gets a tunnel to the same port,
whatever host it names.

usage: tls_proxy.py CERTIFICATE_AND_KEY TARGET_PORT
Prints its own port, and ends when it is killed.
"""

import socket
import ssl
import sys
import threading


def copy(source, target):
    try:
        while data := source.recv(16384):
            target.sendall(data)
        target.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass


def serve(client, context, target):
    with context.wrap_socket(client, server_side=True) as near:
        while not near.recv(16384).endswith(b"\r\n\r\n"):
            pass
        near.sendall(b"HTTP/1.1 200 Connected\r\n\r\n")
        with socket.create_connection(("127.0.0.1", target)) as far:
            threading.Thread(target=copy, args=(far, near), daemon=True).start()
            copy(near, far)


def main():
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(sys.argv[1])
    listener = socket.create_server(("127.0.0.1", 0))
    print(listener.getsockname()[1], flush=True)
    while True:
        client, _ = listener.accept()
        threading.Thread(target=serve, args=(client, context, int(sys.argv[2])),
                         daemon=True).start()


main()
