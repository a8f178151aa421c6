#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The shared library exports its public namespace, the two version symbols, and under a version of their own
the functions of the C header; it links no desktop library, and is not unloaded by dlclose().

usage: check_exports.py LIBRARY
"""

import re
import subprocess
import sys

from cpp_source import ROOT, report

C_VERSION = "ORXACCOUNT_1.0"

ALLOWED = re.compile(
    r"^(ORXAccountVersion(Number|String)$|orx::(?!\(anonymous|platform::)|"
    r"(typeinfo|typeinfo name|vtable|VTT) for orx::(?!platform::)|(non-)?virtual thunk to orx::)")
UNWANTED_LIBRARIES = re.compile(r"lib(glib|gio|gobject|secret|dbus|sqlite|httplib|gtest)")
MUST_SHOW = (
    "ORXAccountVersionNumber",
    "ORXAccountVersionString",
    "orx::ORVAAccount::sharedInstance()",
    "typeinfo for orx::ORVAAccountLoginManagerDelegate",
    "vtable for orx::XMLParserDelegate",
)


def check_symbols(symbols):
    for symbol in symbols:
        if not ALLOWED.match(symbol):
            yield f"exported by mistake: {symbol}"
    for wanted in MUST_SHOW:
        if wanted not in symbols:
            yield f"not exported: {wanted}"


def check_c_symbols(symbols, header):
    """`symbols`: those of the C interface, with their versions."""
    declared = {f"{name}@@{C_VERSION}"
                for name in re.findall(r"^ORX_EXPORT [^;(]*?\b(orx_\w+)\(", header, re.MULTILINE)}
    for wanted in sorted(declared - set(symbols)):
        yield f"not exported: {wanted}"
    for symbol in sorted(set(symbols) - declared):
        yield f"exported by mistake: {symbol}"


def check_libraries(lines):
    for line in lines:
        if UNWANTED_LIBRARIES.search(line):
            yield f"linked by mistake: {line.strip()}"
        if "not found" in line:
            yield f"missing: {line.strip()}"


def check_flags(dynamic_section):
    if "NODELETE" not in dynamic_section:
        yield "dlclose() would take the code away from its threads: not linked with -z nodelete"


def main():
    library = sys.argv[1]
    shown = subprocess.run(["nm", "-D", "-C", "--defined-only", "--format=posix", library],
                           check=True, capture_output=True, text=True).stdout.splitlines()
    symbols = [re.sub(r" [A-Za-z] [0-9a-f ]*$", "", line) for line in shown]
    needed = subprocess.run(["ldd", library], check=True, capture_output=True,
                            text=True).stdout.splitlines()
    dynamic = subprocess.run(["readelf", "-d", library], check=True, capture_output=True,
                             text=True).stdout
    in_c = [symbol for symbol in symbols if symbol.startswith("orx_")]
    in_cpp = [symbol for symbol in symbols if symbol not in in_c and symbol != C_VERSION]
    header = (ROOT / "include/ORXAccount/orxaccount.h").read_text(encoding="utf-8")
    complaints = [*check_symbols(in_cpp), *check_c_symbols(in_c, header), *check_libraries(needed), *check_flags(dynamic)]
    return report(complaints, f"{len(symbols)} exported symbols")


if __name__ == "__main__":
    sys.exit(main())
