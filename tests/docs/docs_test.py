#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the documents show works: every block of C++ compiles, every block of commands runs, every link leads
somewhere.

usage: docs_test.py compile BUILD        with the headers of the sources
       docs_test.py links
       docs_test.py site                 with Doxygen
       docs_test.py run PREFIX PAGE      with what is installed there

The blocks of C++ of one page are one function, in their order; a block with a main() is a program of its own.
The blocks `sh` of one page of the guide are one script, in their order, in an empty folder; a block `console`
is for the reader alone.
"""

import contextlib
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
from doxygen_page import HEADING, LINK, slug  # noqa: E402
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs/guide").glob("*.md")),
         *sorted((ROOT / "docs").glob("*.md"))]


def blocks(page, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", page.read_text(), re.DOTALL | re.MULTILINE)


def units_of(page):
    """The texts to compile: a page's fragments together, each program by itself."""
    fragments = []
    for block in blocks(page, "cpp"):
        if "int main(" in block:
            yield block
        else:
            fragments.append(block)
    if fragments:
        lines = "".join(fragments).splitlines()
        includes = [line for line in lines if line.startswith("#include")]
        body = [line for line in lines if not line.startswith("#include")]
        yield "\n".join(["#include <ORXAccount/ORXAccount.h>", *includes,
                         "void page() {", *body, "}\n"])


def compile_all(build):
    failed = 0
    for page in PAGES:
        for unit in units_of(page):
            run = subprocess.run(
                ["g++", "-std=c++20", "-Wall", "-Wextra", "-Werror", "-Wno-unused", "-fsyntax-only",
                 f"-I{ROOT}/include", f"-I{ROOT}/devserver/include", f"-I{build}/include", "-x", "c++", "-"],
                input=unit, capture_output=True, text=True, check=False)
            if run.returncode != 0:
                print(f"{page.relative_to(ROOT)}:\n{run.stderr[:3000]}")
                failed += 1
    if failed:
        sys.exit(f"{failed} do not compile")


def anchors_of(page):
    return {slug(heading[2]) for heading in map(HEADING.match, page.read_text().splitlines()) if heading}


def check_links():
    """On a code host."""
    failed = False
    listed = (ROOT / "docs/Doxyfile").read_text()
    for page in {*PAGES, *ROOT.glob("*.md")}:
        name = page.relative_to(ROOT)
        for _, link in LINK.findall(page.read_text()):
            path, _, anchor = link.partition("#")
            place = page.parent / path if path else page
            if not place.exists() or anchor and anchor not in anchors_of(place):
                print(f"{name}: {link} leads nowhere")
                failed = True
        if page.parent.name == "guide" and str(name) not in listed:
            print(f"docs/Doxyfile does not say where {name} comes")
            failed = True
    if failed:
        sys.exit(1)


# What the generator makes of a page, left unread: a link over the end of a line does that, without a warning.
UNREAD = re.compile(r"@(endcode|section|ref)\b")


def build_site():
    """The generator ends with an error when it has warned; it does not look at all links."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        settings = (ROOT / "docs/Doxyfile").read_text() + f"\nOUTPUT_DIRECTORY = {folder}\n"
        subprocess.run(["doxygen", "-"], input=settings, text=True, check=True, cwd=ROOT,
                       env={**os.environ, "ORX_VERSION": "0"})
        wrong = set()
        for page in folder.glob("html/*.html"):
            text = page.read_text()
            wrong |= {f"{page.name}: {link} leads nowhere" for link in re.findall(r'href="([^"#:]+)["#]', text)
                      if not (page.parent / link).exists()}
            if UNREAD.search(text):
                wrong.add(f"{page.name}: a part of the page was not read")
    if wrong:
        sys.exit("\n".join(sorted(wrong)))


def run_page(prefix, name):
    page = ROOT / "docs/guide" / name
    script = "set -euo pipefail\n" + "".join(blocks(page, "sh"))
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(ROOT / "examples", f"{folder}/examples")
        # As who follows a second page in one folder finds it.
        Path(folder, "service.json").write_text('{"port":1,"caFile":"/nowhere"}\n')
        environment = {
            "PATH": f"{prefix}/bin:{os.environ['PATH']}", "HOME": folder, "LANG": "C.UTF-8",
            "CMAKE_PREFIX_PATH": str(prefix), "LD_LIBRARY_PATH": f"{prefix}/lib",
            "PKG_CONFIG_PATH": f"{prefix}/lib/pkgconfig",
        }
        # A session of its own, so that a service which the page has started ends with it.
        process = subprocess.Popen(["bash", "-c", script], cwd=folder, env=environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, text=True, start_new_session=True)
        try:
            # Not communicate(), which would wait for the service to close its output as well.
            status = process.wait(timeout=300)
        finally:
            # A page that has started nothing leaves no group behind.
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGTERM)
        print(process.stdout.read())
        if status != 0:
            sys.exit(f"a command of {name} failed with {status}")


def main():
    if sys.argv[1:2] == ["compile"]:
        compile_all(Path(sys.argv[2]).resolve())
    elif sys.argv[1:] == ["links"]:
        check_links()
    elif sys.argv[1:] == ["site"]:
        build_site()
    else:
        run_page(Path(sys.argv[2]).resolve(), sys.argv[3])


main()
