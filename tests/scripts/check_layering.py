#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every file belongs to a room, includes between rooms go one way, and each vendor's headers are included in
one room only."""

import re
import sys

from cpp_source import ROOT, bare, circles, files, includes, matching, report

# The rooms of the account code, and those of src/platform that it may use.
ACCOUNT = {"config", "service", "user", "login", "c"}
PLATFORM = {"base", "process", "formats", "queues", "storage", "http", "keychain"}

# Rooms of implementations: only Backends.cpp, which names the classes in use, includes their headers.
SEALED = {"http/curl", "keychain/secretservice"}

# room → the rooms that its files may include beside their own.
MAY_INCLUDE = {
    "base": set(),
    "process": {"base"},
    "formats": {"base", "process"},
    "queues": {"base", "process"},
    "storage": {"base", "process", "formats"},
    "http": {"base", "process", "queues"},
    "http/curl": {"base", "process", "queues", "http"},
    "keychain": {"base", "process", "storage"},
    "keychain/secretservice": {"base", "process", "storage", "keychain"},
    "backends": PLATFORM | SEALED,
    "config": PLATFORM,
    "service": {"config"} | PLATFORM,
    "user": {"config"} | PLATFORM,
    "login": {"service", "user", "config"} | PLATFORM,
    "c": {"login", "service", "user", "config"} | PLATFORM,
    "entry": {"user", "config"} | PLATFORM,
    "umbrella": ACCOUNT | PLATFORM,
}

# Files whose folder does not say their room. The entry point starts everything, so it is the one
# file of src/config that reaches the current user.
ROOM_OF_FILE = {
    "src/config/ORVAAccount.cpp": "entry",
    "src/platform/Backends.cpp": "backends",
    "src/platform/Backends.h": "backends",
}

# The public headers lie flat, because a path that changes breaks hosts: header → room.
ROOM_OF_HEADER = {
    "AsioCallbackExecutor.h": "queues",
    "CallbackExecutor.h": "queues",
    "Calls.h": "login",
    "GLibCallbackExecutor.h": "queues",
    "LogHandler.h": "process",
    "ORVAAccount.h": "config",
    "ORVAAccountAPI.h": "service",
    "ORVAAccountAPIResult.h": "service",
    "ORVAAccountConstants.h": "config",
    "ORVAAccountKeychain.h": "user",
    "ORVAAccountLoginManager.h": "login",
    "ORVAAccountLoginManagerDelegate.h": "login",
    "ORVAAccountUser.h": "user",
    "ORVAAccountUserCache.h": "user",
    "ORXAccount.h": "umbrella",
    "QtCallbackExecutor.h": "queues",
    "WorkerHandler.h": "service",
    "orxaccount.h": "c",
    "platform/Bundle.h": "process",
    "platform/Coder.h": "formats",
    "platform/Data.h": "base",
    "platform/Dictionary.h": "base",
    "platform/Error.h": "base",
    "platform/Export.h": "base",
    "platform/Keychain.h": "keychain",
    "platform/NotificationCenter.h": "process",
    "platform/Object.h": "base",
    "platform/SecItem.h": "keychain",
    "platform/Terminal.h": "base",
    "platform/URL.h": "http",
    "platform/URLSessionConfiguration.h": "http",
    "platform/Value.h": "base",
    "platform/XMLParser.h": "formats",
}

# How a vendor's header begins → the room that may include it, or the one file when its types are
# shared by all rooms under a name of this project's own.
VENDORS = {
    "curl/": "http/curl",
    "openssl/": "http/curl",
    "dlfcn.h": "process",
    "gio/": "keychain/secretservice",
    "expat.h": "formats",
    "glib.h": "include/ORXAccount/GLibCallbackExecutor.h",
    "iconv.h": "formats",
    "tl/expected.hpp": "src/platform/base/Result.h",
    "utf8proc.h": "base",
    "uuid/": "process",
}
# C++ headers have neither a folder nor an ending; of POSIX and Linux, these are in use.
SYSTEM = re.compile(
    r"\w+$|(arpa|netinet|sys)/\w+\.h$|(dirent|errno|fcntl|netdb|poll|pthread|pwd|signal|stddef|stdint|"
    r"stdio|stdlib|strings|time|unistd)\.h$")

# Files that include each other because they are one idea: a value can be a dictionary of values.
ONE_IDEA = [{"base/Value", "base/Dictionary"}]

# Private classes that public headers name, so that they cannot stand in orx::platform.
NAMED_IN_PUBLIC = {"DispatchSemaphore", "OperationQueue", "URLSessionDataTask"}


def room_of(place):
    """The room of a file of src/ or include/; None when it stands in none."""
    if place.startswith("include/ORXAccount/"):
        return ROOM_OF_HEADER.get(place.removeprefix("include/ORXAccount/"))
    if place in ROOM_OF_FILE:
        return ROOM_OF_FILE[place]
    folder = place.rpartition("/")[0].removeprefix("src/")
    room = folder.removeprefix("platform/")
    return room if room in (ACCOUNT if room == folder else PLATFORM | SEALED) else None


def place_of(name, quoted):
    """The path of the included file; None when it is not one of this project's."""
    if quoted:
        return f"src/{name}"
    return f"include/{name}" if name.startswith("ORXAccount/") else None


def check_vendor(place, name):
    """An include of something that is not the project's."""
    room = room_of(place)
    owner = next((VENDORS[start] for start in VENDORS if name.startswith(start)), None)
    if place == owner or (SYSTEM.match(name) and not owner):
        return
    if not owner:
        yield f"<{name}> is in no table of vendors or system headers"
    elif place.startswith("include/"):
        yield f"a public header may not include <{name}>"
    elif room != owner:
        yield f"<{name}> belongs to {owner}, not to {room}"
    elif place.endswith(".h") and room not in SEALED:
        yield f"<{name}> in a header of {room} would reach the rooms above"


def check_file(place, text):
    """Checks the includes of one file of src/ or include/ against the tables."""
    room = room_of(place)
    if not room:
        yield f"{place} stands in no room"
        return
    for line, name, quoted in includes(text):
        target = place_of(name, quoted)
        target_room = room_of(target) if target else None
        if not target:
            for complaint in check_vendor(place, name):
                yield f"{place}:{line}: {complaint}"
        elif quoted and place.startswith("include/"):
            yield f'{place}:{line}: a public header may not include "{name}"'
        elif not target_room:
            yield f"{place}:{line}: {name} stands in no room"
        elif target_room != room and target_room not in MAY_INCLUDE[room]:
            yield f"{place}:{line}: {room} may not include {target_room}: {name}"


def node_of(place):
    """A .cpp file and its header count as one, so that a circle through either is seen. The public
    header of an account class counts alone: several files of its room implement the class."""
    if place.startswith("include/") and "/platform/" not in place:
        return place
    return f"{room_of(place)}/{place.rpartition('/')[2].rpartition('.')[0]}"


def check_circles(texts):
    graph = {}
    for place, text in texts.items():
        targets = [place_of(name, quoted) for _, name, quoted in includes(text)]
        graph.setdefault(node_of(place), set()).update(node_of(t) for t in targets if t in texts)
    for circle in circles(graph):
        if circle not in ONE_IDEA:
            yield f"a circle of files: {', '.join(sorted(circle))}"


def check_namespaces(place, text):
    """Checks that a private header of the platform declares its names in orx::platform."""
    text = bare(text)
    for found in re.finditer(r"^namespace (orx(?:::\w+)*) \{", text, re.MULTILINE):
        name = found.group(1)
        if name == "orx":
            start = found.end() - 1
            body = text[start + 1:matching(text, start)]
            while re.search(r"\{[^{}]*\}", body):
                body = re.sub(r"\{[^{}]*\}", "", body)
            for statement in filter(None, map(str.strip, body.split(";"))):
                declared = re.match(r"class (\w+)", statement)
                if not declared or declared.group(1) not in NAMED_IN_PUBLIC:
                    yield f"{place}: not exported, so not in orx: {statement.splitlines()[0]}"
        elif not name.startswith("orx::platform"):
            yield f"{place}: private names stand in orx::platform, not in {name}"


def check_tree(texts):
    """All complaints about {place: text}, the files of src/ and include/."""
    for place, text in texts.items():
        yield from check_file(place, text)
        if place.startswith("src/platform/") and place.endswith(".h"):
            yield from check_namespaces(place, text)
    yield from check_circles(texts)


def check_host(place, text):
    """A host application needs nothing but public headers."""
    for line, name, quoted in includes(text):
        if quoted and "/" in name:
            yield f'{place}:{line}: a host sees public headers only, not "{name}"'


def read(*folders, root=ROOT):
    return {path.relative_to(root).as_posix(): path.read_text()
            for path in files(folders, ".h", ".cpp", root=root)}


def main():
    complaints = list(check_tree(read("src", "include")))
    for place, text in read("tools/orxaccount", "examples").items():
        complaints += check_host(place, text)
    return report(complaints, "layering")


if __name__ == "__main__":
    sys.exit(main())
