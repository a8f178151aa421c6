# SPDX-License-Identifier: MIT
"""One text for each value: what both sides of an archive test compare."""

import struct


def canonical(value):
    if value is None:
        return "null"
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, int):
        return "i%d" % value
    if isinstance(value, float):
        return "d" + struct.pack(">d", value).hex()
    if isinstance(value, str):
        return "s" + value.encode("utf-8").hex()
    if isinstance(value, bytes):
        return "x" + value.hex()
    if isinstance(value, list):
        return "[" + ",".join(canonical(element) for element in value) + "]"
    if isinstance(value, dict):
        return "{" + ",".join(canonical(k) + "=" + canonical(v) for k, v in value.items()) + "}"
    raise TypeError(type(value))
