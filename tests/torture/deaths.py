# SPDX-License-Identifier: MIT
"""Where a process died, and which allocation or call had failed before: from the note that the host leaves."""

import functools
import re
import signal
import subprocess

FRAME = re.compile(r"(?P<module>[^( ]+)\((?P<symbol>[^+)]*)(?:\+(?P<offset>0x[0-9a-f]+))?\)")
# They carry out what others want; who that is stands below them on the stack.
# So do these of GLib.
GLIB_ENDS = re.compile(r"g_(log|malloc|try_malloc|realloc|slice)")
RUNTIME = re.compile(r"(libc|libstdc\+\+|libgcc_s|ld-linux[^.]*|libm|libpthread)[.-]")
OWN = "the library"
# What OpenSSL does not try again for as long as the process lives, by a function that is on the stack.
ONCE_IN_A_PROCESS = (
    (re.compile(r"CRYPTO_THREAD_run_once"), "it begins once"),
    (re.compile(r"RAND_get0_primary"), "it prepares its random generator once"),
    (re.compile(r"EVP_[A-Z]+_fetch|OSSL_DECODER_do_all_provided"), "it asks for each kind of algorithm once"),
)


@functools.cache
def function_at(program, offset):
    """The name of the function there, which the program does not export."""
    lines = subprocess.run(["addr2line", "-f", "-C", "-s", "-e", program, offset], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    return re.sub(r"\[abi:\w+\]|\(anonymous namespace\)::", "", lines[0])


@functools.cache
def demangled(symbol):
    return subprocess.run(["c++filt", symbol], check=True, capture_output=True, text=True).stdout.strip()


def frame_of(line):
    """(module, function) of a line of backtrace_symbols()."""
    match = FRAME.match(line)
    if not match:
        return "?", "?"
    module = match["module"].rsplit("/", 1)[-1]
    if module == "torture_host":
        # Of what the program exports the offset is that from the symbol.
        if match["symbol"]:
            return OWN, demangled(match["symbol"])
        return OWN, function_at(match["module"], match["offset"] or "0x0")
    return module, match["symbol"] or "?"


def is_of_the_harness(frame):
    module, function = frame
    return module == OWN and (function.startswith(("orx::torture::", "operator new")) or function in (
        "_Znwm", "malloc", "calloc", "realloc", "memalign", "aligned_alloc", "posix_memalign"))


def stack(lines):
    """The frames, the innermost first, from the first one that is a vendor's or the library's."""
    frames = [frame_of(line) for line in lines]
    while frames and (is_of_the_harness(frames[0]) or RUNTIME.match(frames[0][0]) or
                      GLIB_ENDS.match(frames[0][1])):
        frames.pop(0)
    return frames


def is_own(place):
    return place[0] == OWN


class Vendors(Exception):
    """A vendor's code has died or keeps its failure; nothing of the library's own has failed."""


def place(lines):
    """(whose code it is, the functions that have a name) of a stack."""
    frames = stack(lines)
    if not frames:
        return "the C library", "?"
    owner = frames[0][0]
    named = [function for module, function in frames if module == owner and function != "?"]
    if owner == OWN:  # what of the language's it uses tells less
        named = [re.sub(r"\(.*", "", name) for name in named if name.startswith("orx::")]
    return owner, " < ".join(named[:3])


def reason_to_keep(lines):
    """Why OpenSSL does not get over a failure with this stack; None when it does."""
    functions = [function for module, function in map(frame_of, lines) if module.startswith("libcrypto")]
    for pattern, reason in ONCE_IN_A_PROCESS:
        if any(map(pattern.fullmatch, functions)):
            return reason
    return None


def read_note(note):
    """(place of the death, place of what had failed)."""
    death, _, failed = note.removeprefix("death\n").partition("failed\n")
    return place(death.splitlines()), place(failed.splitlines())


def judge(answer):
    """Whose code the process of this answer has died in: an AssertionError, or Vendors."""
    note = answer.get("note", "")
    name = signal.Signals(answer["signal"]).name if "signal" in answer else answer
    if name == "SIGTRAP" and not note:
        raise Vendors("libglib-2.0.so.0: SIGTRAP while it keeps all signals blocked to start a thread")
    death, failed = read_note(note)
    if name == "SIGALRM" or death[0] == OWN or not note:
        raise AssertionError(f"{name} in {death[0]}: {death[1]}; what had failed: {failed}")
    raise Vendors(f"{death[0]}: {name} in {death[1]}")
