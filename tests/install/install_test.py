#!/usr/bin/env python3
"""A host project builds against the installed package, and its program signs in.

usage: install_test.py install BUILD PREFIX
       install_test.py cmake|pkg-config shared|static --prefix PREFIX --devserver PROGRAM
"""

import argparse
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
PROGRAM = HERE.parents[1] / "examples/host.cpp"


def run(*command, **options):
    print("$", shlex.join(map(str, command)), flush=True)
    return subprocess.run(command, check=True, text=True, timeout=300, **options)


def install(build, prefix):
    shutil.rmtree(prefix, ignore_errors=True)
    run("cmake", "--install", build, "--prefix", prefix, stdout=subprocess.DEVNULL)


def build_with_cmake(kind, prefix, folder):
    run("cmake", "-S", HERE / "consumer", "-B", folder, "-G", "Ninja", f"-DKIND={kind}",
        f"-DSOURCE={PROGRAM}", f"-DCMAKE_PREFIX_PATH={prefix}")
    run("cmake", "--build", folder)
    return folder / "host"


def build_with_pkg_config(kind, prefix, folder):
    found = next(prefix.rglob("orxaccount.pc"))
    package = "orxaccount" if kind == "shared" else "orxaccount-static"
    environment = {**os.environ, "PKG_CONFIG_PATH": str(found.parent)}
    flags = run("pkg-config", "--cflags", "--libs", package, env=environment,
                capture_output=True).stdout.split()
    private = run("pkg-config", "--static", "--libs", "orxaccount", env=environment,
                  capture_output=True).stdout.split()
    if not {"-lcurl", "-lexpat", "-luuid"} <= set(private):
        raise AssertionError(f"pkg-config --static leaves out a library: {private}")
    run("g++", "-std=c++20", PROGRAM, "-o", folder / "host", *flags)
    return folder / "host"


def sign_in(host, kind, prefix, devserver, folder):
    needed = run("ldd", host, capture_output=True, env=environment_for(prefix, folder)).stdout
    if ("liborxaccount.so.1" in needed) != (kind == "shared"):
        raise AssertionError(f"this is no {kind} build:\n{needed}")
    service = subprocess.Popen([devserver], cwd=folder, stdout=subprocess.PIPE, text=True)
    try:
        ready = json.loads(service.stdout.readline())
        said = run(host, ready["caFile"], str(ready["port"]), capture_output=True,
                   env=environment_for(prefix, folder)).stdout
    finally:
        service.terminate()
        service.wait()
    if not said.startswith("Hello "):
        raise AssertionError(f"the program said {said!r}")


def environment_for(prefix, folder):
    library = next(prefix.rglob("liborxaccount.so.1"))
    return {"PATH": os.environ["PATH"], "HOME": str(folder), "LD_LIBRARY_PATH": str(library.parent)}


def main():
    if sys.argv[1] == "install":
        install(*sys.argv[2:])
        return
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("builder", choices=["cmake", "pkg-config"])
    parser.add_argument("kind", choices=["shared", "static"])
    parser.add_argument("--prefix", required=True, type=Path)
    parser.add_argument("--devserver", required=True)
    options = parser.parse_args()
    build = build_with_cmake if options.builder == "cmake" else build_with_pkg_config
    with tempfile.TemporaryDirectory(prefix="orxaccount-install.") as name:
        folder = Path(name)
        host = build(options.kind, options.prefix, folder)
        sign_in(host, options.kind, options.prefix, options.devserver, folder)


if __name__ == "__main__":
    main()
