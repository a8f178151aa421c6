#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Signs in, prints the user, and signs out, by way of the library's C interface.

usage: sign_in.py [CA-FILE localhost:PORT]   the two values that orxaccount-devserver prints
"""

import ctypes
import json
import queue
import sys

Handle = ctypes.c_void_p
Text = ctypes.c_char_p
Callback = ctypes.CFUNCTYPE(None, Handle, Handle, Handle)


def load():
    library = ctypes.CDLL("liborxaccount.so.1")
    signatures = {
        "orx_error_domain": (Text, Handle), "orx_error_text": (Text, Handle),
        "orx_error_code": (ctypes.c_int64, Handle), "orx_error_release": (None, Handle),
        "orx_result_user": (Handle, Handle), "orx_user_json": (Text, Handle),
        "orx_set_option": (Handle, Text, Text),
        "orx_set_servers": (Handle, Text, Text, Text, Text),
        "orx_initialize": (Handle, Text, Text, ctypes.c_int),
        "orx_sign_in_openid": (Handle, Text, Callback, Handle),
        "orx_sign_out": (Handle,),
    }
    for name, (result, *arguments) in signatures.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


orx = load()


class AccountError(Exception):
    def __init__(self, error):
        self.domain = orx.orx_error_domain(error).decode()
        self.code = orx.orx_error_code(error)
        super().__init__(f"{self.domain} {self.code}: {orx.orx_error_text(error).decode()}")


def check(error):
    """Raises what a function of the library returned, unless that is nothing."""
    if error:
        try:
            raise AccountError(error)
        finally:
            orx.orx_error_release(error)


outcomes = {}  # context → where the outcome of that sign-in is awaited


@Callback  # One for all, since ctypes must not free one that is being called.
def signed_in(context, result, error):
    """Runs on a thread of the library; result and error end with it."""
    outcomes.pop(context).put(AccountError(error) if error
                              else json.loads(orx.orx_user_json(orx.orx_result_user(result))))


def sign_in(**identity):
    """The user's fields; raises AccountError."""
    outcome = queue.Queue()
    outcomes[id(outcome)] = outcome
    check(orx.orx_sign_in_openid(json.dumps(identity).encode(), signed_in, id(outcome)))
    told = outcome.get()
    if isinstance(told, AccountError):
        raise told
    return told


def main():
    check(orx.orx_set_option(b"identifier", b"com.example.host"))
    if len(sys.argv) == 3:
        ca_file, host = sys.argv[1:]
        check(orx.orx_set_option(b"caFile", ca_file.encode()))
        check(orx.orx_set_servers(host.encode(), None, None, None))
    check(orx.orx_initialize(b"demo-app", b"demo-key", 0))
    user = sign_in(openid_type="example", openid_uid="1234567")
    print("Hello", user["cus_id"])
    print(json.dumps(user, ensure_ascii=False))
    check(orx.orx_sign_out())


if __name__ == "__main__":
    main()
