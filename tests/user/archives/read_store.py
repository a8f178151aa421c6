# SPDX-License-Identifier: MIT
"""Prints the content of the two stores as plistlib reads it: `read_store.py DEFAULTS BLOB`."""

import plistlib
import sys


def load(data):
    return plistlib.loads(data, fmt=plistlib.FMT_BINARY)


def show(archive):
    """The root object of an archive, with the names of classes and with dictionaries in their order."""
    assert set(archive) == {"$archiver", "$version", "$top", "$objects"}, archive
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
    assert archive["$objects"][0] == "$null" and set(archive["$top"]) == {"root"}

    def restore(uid):
        assert isinstance(uid, plistlib.UID), uid
        stored = archive["$objects"][uid.data]
        if not isinstance(stored, dict):
            return stored
        described = archive["$objects"][stored.pop("$class").data]
        assert described["$classes"] == [described["$classname"], "NSObject"], described
        name = described["$classname"]
        if name == "NSDictionary":
            keys = [restore(key) for key in stored.pop("NS.keys")]
            content = [restore(value) for value in stored.pop("NS.objects")]
            assert not stored, stored
            return name, dict(zip(keys, content, strict=True))
        return name, {key: restore(value) for key, value in stored.items()}

    return restore(archive["$top"]["root"])


with open(sys.argv[1], "rb") as file:
    defaults = load(file.read())
with open(sys.argv[2], "rb") as file:
    kind, blob = show(load(file.read()))
uuid = defaults.pop("com.orva.account.ORVAAccountUserUserDefaultKey")
print("defaults besides:", defaults)
print("blob:", kind, list(blob), "same uuid:", blob["uuid"] == uuid, type(blob["data"]).__name__)
print("record:", show(load(blob["data"])))
