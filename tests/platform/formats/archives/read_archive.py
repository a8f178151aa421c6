# SPDX-License-Identifier: MIT
"""Prints one line for each archive: the canonical text of what plistlib alone reads there."""

import plistlib
import sys

from canonical import canonical

sys.setrecursionlimit(10000)




def read(archive):
    assert archive["$archiver"] == "NSKeyedArchiver"
    assert archive["$version"] == 100000
    assert list(archive["$top"]) == ["root"]
    objects = archive["$objects"]
    assert objects[0] == "$null"

    def restore(uid):
        assert isinstance(uid, plistlib.UID)
        stored = objects[uid.data]
        if uid.data == 0:
            return None
        if not isinstance(stored, dict):
            return stored
        description = objects[stored["$class"].data]
        name = description["$classname"]
        assert description["$classes"] == [name, "NSObject"]
        if name == "NSNull":
            return None
        if name == "NSArray":
            return [restore(element) for element in stored["NS.objects"]]
        if name == "NSDictionary":
            assert len(stored["NS.keys"]) == len(stored["NS.objects"])
            pairs = zip(stored["NS.keys"], stored["NS.objects"])
            return {restore(key): restore(content) for key, content in pairs}
        return {"class " + name: {k: restore(v) for k, v in stored.items() if k != "$class"}}

    return restore(archive["$top"]["root"])


for path in sys.argv[1:]:
    with open(path, "rb") as file:
        print(canonical(read(plistlib.load(file, fmt=plistlib.FMT_BINARY))))
