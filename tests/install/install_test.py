#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A host project builds against the installed package, and its program signs in.

usage: install_test.py install BUILD PREFIX
       install_test.py cmake|pkg-config shared|static --prefix PREFIX --devserver PROGRAM
       install_test.py c|python --prefix PREFIX --devserver PROGRAM
       install_test.py hardened|headers|host-tests|pages|plugins PREFIX
       install_test.py subproject --devserver PROGRAM
"""

import argparse
import json
import os
import platform
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
PROGRAM = ROOT / "examples/host.cpp"


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


def flags_of(package, prefix, *options):
    """As on a machine that has the package alone, without those that it was built with."""
    folder = str(next(prefix.rglob("orxaccount.pc")).parent)
    environment = {**os.environ, "PKG_CONFIG_LIBDIR": folder, "PKG_CONFIG_PATH": ""}
    return run("pkg-config", "--cflags", "--libs", *options, package, env=environment,
               capture_output=True).stdout.split()


def build_with_pkg_config(kind, prefix, folder):
    flags = flags_of("orxaccount" if kind == "shared" else "orxaccount-static", prefix)
    own = (prefix / "include").resolve()
    foreign = [flag for flag in flags if flag.startswith("-D") or
               flag.startswith("-I") and Path(flag[2:]).resolve() != own]
    if foreign:
        raise AssertionError(f"flags that are not the library's own reach the host: {foreign}")
    private = flags_of("orxaccount", prefix, "--static")
    if not {"-lcurl", "-lexpat", "-luuid"} <= set(private):
        raise AssertionError(f"pkg-config --static leaves out a library: {private}")
    run("g++", "-std=c++20", PROGRAM, "-o", folder / "host", *flags)
    return folder / "host"


def build_in_c(prefix, folder):
    """As strict as a host can be: no warning may come out of the header."""
    run("gcc", "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror", ROOT / "examples/sign_in.c",
        "-o", folder / "sign_in", *flags_of("orxaccount", prefix))
    return folder / "sign_in"


def build_as_subproject(folder):
    """Flags of the distribution, and both ways of compiling that look at many sources at once."""
    flags = {name: run("dpkg-buildflags", "--get", name, capture_output=True).stdout.strip()
             for name in ("CXXFLAGS", "CPPFLAGS", "LDFLAGS")}
    run("cmake", "-S", HERE / "subproject", "-B", folder, "-G", "Ninja", f"-DORXACCOUNT={ROOT}",
        f"-DSOURCE={PROGRAM}", "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_UNITY_BUILD=ON",
        "-DCMAKE_COMPILE_WARNING_AS_ERROR=ON",
        f"-DCMAKE_CXX_FLAGS={flags['CXXFLAGS']} {flags['CPPFLAGS']} -U_FORTIFY_SOURCE "
        "-D_FORTIFY_SOURCE=3", f"-DCMAKE_SHARED_LINKER_FLAGS={flags['LDFLAGS']}")
    targets = run("cmake", "--build", folder, "--target", "help", capture_output=True).stdout
    uninvited = [word for word in ("_tests", "devserver", "_cli", "_fuzzer", "install")
                 if f"{word}: phony" in targets]
    if uninvited:
        raise AssertionError(f"a part of another project brings {uninvited}")
    run("cmake", "--build", folder, "--target", "host")
    return folder / "host"


def check_hardening(prefix):
    library = next(prefix.rglob("liborxaccount.so.1"))
    said = run("readelf", "--wide", "--dynamic", "--program-headers", "--notes", "--dyn-syms", library,
               capture_output=True).stdout
    signs = {"stack protector": r"__stack_chk_fail", "fortified functions": r"UND __\w+_chk@",
             "checked containers": r"__glibcxx_assert_fail", "immediate binding": r"FLAGS_1.*\bNOW\b",
             "read-only relocations": r"GNU_RELRO", "a stack without code": r"GNU_STACK .* RW "}
    missing = [name for name, sign in signs.items() if not re.search(sign, said)]
    # The linker drops the note that says so, because the system's own start files lack it.
    code = run("objdump", "--disassemble", library, capture_output=True).stdout
    if platform.machine() == "x86_64" and code.count("endbr64") < said.count(" FUNC "):
        missing.append("control-flow protection")
    if missing:
        raise AssertionError(f"{library} lacks {missing}")


def contents_of(folder):
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*.h")}


def check_headers(prefix):
    """A host that is compiled for one build runs with another: they differ in no header."""
    with tempfile.TemporaryDirectory(prefix="orxaccount-headers.") as name:
        folder = Path(name)
        run("cmake", "-S", ROOT, "-B", folder / "build", "-G", "Ninja", "-DORX_BUILD_TESTS=OFF",
            "-DORX_BUILD_FUZZERS=OFF", "-DORX_HARDENING=OFF",
            "-DORX_SERVICE_NAMESPACE=urn:x-example:service",
            *(f"-DORX_{which}_HOST={which.lower()}.example:8443"
              for which in ("GLOBAL", "CHINA", "DEVELOPMENT")))
        run("cmake", "--install", folder / "build", "--prefix", folder, "--component", "headers")
        if contents_of(folder / "include") != contents_of(prefix / "include"):
            raise AssertionError("the headers differ from build to build")


def check_pages(prefix):
    """What the programs print is installed where the shells and man look for it."""
    places = {"man": "man/man1/{}.1", "bash": "bash-completion/completions/{}",
              "zsh": "zsh/site-functions/_{}", "fish": "fish/vendor_completions.d/{}.fish"}
    for name in ("orxaccount", "orxaccount-devserver"):
        for kind, place in places.items():
            printed = run(prefix / "bin" / name, "--page", kind, capture_output=True).stdout
            if not printed or (prefix / "share" / place.format(name)).read_text() != printed:
                raise AssertionError(f"the {kind} page of {name} is not the one that it prints")


def check_plugins(prefix):
    """Two plug-ins with the static library in them outlive being unloaded."""
    flags = flags_of("orxaccount-static", prefix)
    with tempfile.TemporaryDirectory(prefix="orxaccount-plugins.") as name:
        folder = Path(name)
        for plugin in ("one.so", "two.so"):
            run("g++", "-std=c++20", "-shared", "-fPIC", HERE / "plugin/plugin.cpp", "-o",
                folder / plugin, *flags)
        run("gcc", HERE / "plugin/loader.c", "-o", folder / "loader", "-ldl")
        said = run(folder / "loader", "./one.so", "./two.so", "./one.so", cwd=folder,
                   capture_output=True, env={"PATH": os.environ["PATH"], "HOME": name,
                                             "DBUS_SESSION_BUS_ADDRESS": "disabled:"}).stdout
    if said != "unloaded\n":
        raise AssertionError(f"the loader said {said!r}")


def check_host_tests(prefix):
    """A host's own tests use the development service as a library."""
    with tempfile.TemporaryDirectory(prefix="orxaccount-host-tests.") as folder:
        run("cmake", "-S", ROOT / "examples/testing", "-B", folder, "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={prefix}", "-DCMAKE_COMPILE_WARNING_AS_ERROR=ON")
        run("cmake", "--build", folder)
        run("ctest", "--test-dir", folder, "--output-on-failure", "--no-tests=error")


def sign_in(host, kind, prefix, devserver, folder):
    needed = "liborxaccount.so.1" if host.suffix == ".py" else run(
        "ldd", host, capture_output=True, env=environment_for(prefix, folder)).stdout
    if ("liborxaccount.so.1" in needed) != (kind == "shared"):
        raise AssertionError(f"this is no {kind} build:\n{needed}")
    service = subprocess.Popen([devserver], cwd=folder, stdout=subprocess.PIPE, text=True)
    try:
        ready = json.loads(service.stdout.readline())
        said = run(host, ready["caFile"], f"localhost:{ready['port']}", capture_output=True,
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
    checks = {"hardened": check_hardening, "headers": check_headers, "host-tests": check_host_tests,
              "pages": check_pages, "plugins": check_plugins}
    if sys.argv[1] in checks:
        checks[sys.argv[1]](Path(sys.argv[2]))
        return
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("builder", choices=["cmake", "pkg-config", "c", "python", "subproject"])
    parser.add_argument("kind", choices=["shared", "static"], nargs="?", default="shared")
    parser.add_argument("--prefix", type=Path)
    parser.add_argument("--devserver", required=True)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="orxaccount-install.") as name:
        folder = Path(name)
        if options.builder == "subproject":
            host = build_as_subproject(folder)
        elif options.builder == "c":
            host = build_in_c(options.prefix, folder)
        elif options.builder == "python":
            host = ROOT / "examples/sign_in.py"
        else:
            build = build_with_cmake if options.builder == "cmake" else build_with_pkg_config
            host = build(options.kind, options.prefix, folder)
        sign_in(host, options.kind, options.prefix or folder, options.devserver, folder)


if __name__ == "__main__":
    main()
