#!/usr/bin/env python3
"""Private includes point one way, and a vendor's header is known in one place only."""

import re
import sys
from collections import defaultdict

from cpp_source import ROOT, files, includes, report

MAY_INCLUDE = {
    "platform": {"platform"},
    "config": {"config", "platform"},
    "user": {"user", "config", "platform"},
    "service": {"service", "config", "platform"},
    "login": {"login", "service", "user", "config", "platform"},
}
VENDOR = re.compile(
    r"^(curl/|expat|nlohmann/|utf8proc|uuid/|sqlite3|openssl/|httplib|CLI/|libsecret/|gio/|glib|"
    r"plist/|pcre2|dlfcn\.h)")
# The transfer library is the one whose use does not fit into a file: the files of the transfers, and
# the reader of URLs. None of their headers shows it.
SPREAD = {"curl/curl.h": re.compile(r"/(Transfer\w*|TransportError|URL)\.cpp$")}
PROJECT_FOLDERS = ("src", "devserver", "tools", "tests", "examples", "fuzz")


def check_source(folder, place, text):
    """What one file of src/<folder>/ includes against the rule."""
    for line, name, quoted in includes(text):
        if quoted:
            top = name.split("/")[0]
            if top not in MAY_INCLUDE[folder]:
                yield f'{place}:{line}: {folder} may not include "{name}"'
        elif folder == "platform" and re.match(r"ORXAccount/(?!platform/)", name):
            yield f"{place}:{line}: the platform layer knows nothing of accounts: <{name}>"
        elif re.match(r"(%s)/" % "|".join((*MAY_INCLUDE, *PROJECT_FOLDERS)), name):
            yield f'{place}:{line}: a private header in angle brackets: <{name}>'


def check_public(place, text, is_platform):
    """Public headers show a host neither private headers nor anybody else's."""
    for line, name, quoted in includes(text):
        if quoted or VENDOR.match(name):
            yield f"{place}:{line}: a public header may not include {name}"
        elif is_platform and re.match(r"ORXAccount/(?!platform/)", name):
            yield f"{place}:{line}: a platform header may not include <{name}>"
        elif name.startswith("ORXAccount/") and name != "ORXAccount/BuildOptions.h" and not (
                ROOT / "include" / name).is_file():
            yield f"{place}:{line}: there is no public header <{name}>"


def check_host(place, text):
    """A host application needs nothing but public headers."""
    for line, name, quoted in includes(text):
        if quoted and "/" in name:
            yield f'{place}:{line}: a host sees public headers only, not "{name}"'


def check_vendors(users):
    for vendor, places in sorted(users.items()):
        if vendor in SPREAD:
            for place in places:
                if not SPREAD[vendor].search(place):
                    yield f"{place} may not include {vendor}"
        elif len(places) > 1:
            yield f"{vendor} is included in {len(places)} files of src/: {', '.join(places)}"


def main():
    complaints = []
    users = defaultdict(list)
    for path in files(["src"], ".h", ".cpp"):
        place = path.relative_to(ROOT)
        text = path.read_text()
        complaints += check_source(place.parts[1], place, text)
        for _, name, _ in includes(text):
            if VENDOR.match(name):
                users[name].append(str(place))
    complaints += check_vendors(users)
    for path in files(["include"], ".h"):
        place = path.relative_to(ROOT)
        complaints += check_public(place, path.read_text(), "platform" in place.parts)
    for path in files(["tools/orxaccount", "examples"], ".h", ".cpp"):
        complaints += check_host(path.relative_to(ROOT), path.read_text())
    return report(complaints, "layering")


if __name__ == "__main__":
    sys.exit(main())
