# SPDX-License-Identifier: MIT
"""Writes archives as other conforming archivers would into the directory that it is given.

For each `name.plist` there is a `name.expected` with the canonical text of the value it stands for;
an archive that must be refused has none.
"""

import datetime
import os
import plistlib
import sys

from canonical import canonical

REFERENCE_DATE = datetime.datetime(2001, 1, 1)


class Archive:
    """Every object gets a place of its own; classes are written once."""

    def __init__(self, mutable=False, boxed=False):
        self.prefix = "NSMutable" if mutable else "NS"
        self.boxed = boxed
        self.objects = ["$null"]
        self.classes = {}

    def place(self, stored):
        self.objects.append(stored)
        return plistlib.UID(len(self.objects) - 1)

    def class_named(self, *names):
        if names not in self.classes:
            description = {"$classname": names[0], "$classes": list(names) + ["NSObject"]}
            self.classes[names] = self.place(description)
        return self.classes[names]

    def collection(self, kind):
        names = ["NS" + kind]
        if self.prefix != "NS":
            names.insert(0, self.prefix + kind)
        return self.class_named(*names)

    def add(self, value):
        if value is None:
            return self.place({"$class": self.class_named("NSNull")})
        if isinstance(value, dict):
            uid = self.place(None)
            self.objects[uid.data] = {
                "NS.keys": [self.add(key) for key in value],
                "NS.objects": [self.add(content) for content in value.values()],
                "$class": self.collection("Dictionary"),
            }
            return uid
        if isinstance(value, list):
            uid = self.place(None)
            self.objects[uid.data] = {
                "NS.objects": [self.add(element) for element in value],
                "$class": self.collection("Array"),
            }
            return uid
        if isinstance(value, str) and self.boxed:
            return self.place({"$class": self.collection("String"), "NS.string": value})
        if isinstance(value, bytes) and self.boxed:
            return self.place({"$class": self.collection("Data"), "NS.data": value})
        return self.place(value)

    def write(self, root, **changes):
        archive = {
            "$version": 100000,
            "$archiver": "NSKeyedArchiver",
            "$top": {"root": root},
            "$objects": self.objects,
        }
        archive.update(changes)
        return plistlib.dumps(archive, fmt=plistlib.FMT_BINARY, sort_keys=False)


EVERYTHING = {
    "login": "someone@example.com",
    "empty": "",
    "nul": "a\0b",
    "emoji": "\U0001f600",
    "combining": "e\u0301 / \u00e9",
    "": "an empty key",
    "schl\u00fcssel": "a key beyond ASCII",
    "$null": "$null",
    "true": True,
    "false": False,
    "null": None,
    "integers": [0, 1, 255, 256, 65535, 65536, 2**31, 2**32, 2**53 + 1],
    "ends": [-1, -(2**31), -(2**63), 2**63 - 1, 2**63, 2**64 - 1],
    "doubles": [-0.0, 1.5, 5e-324, 1e308, float("inf"), float("-inf")],
    "data": b"\0\1\xff",
    "no data": b"",
    "nested": {"list": [[], {}, [{"deep": [None, [True]]}]]},
    "long": "x" * 70000,
}


def seconds(*date):
    return (datetime.datetime(*date) - REFERENCE_DATE).total_seconds()


def dates():
    archive = Archive()
    date_class = archive.class_named("NSDate")
    boxed = [
        archive.place({"$class": date_class, "NS.time": seconds(1985, 7, 14, 8, 30)}),
        archive.place({"$class": date_class, "NS.time": 0.0}),
        archive.place({"$class": date_class, "NS.time": 1.75}),
        archive.place({"$class": date_class, "NS.time": -0.25}),
        archive.place({"$class": date_class, "NS.time": seconds(9999, 12, 31, 23, 59, 59)}),
        archive.place({"$class": date_class, "NS.time": seconds(1, 1, 1)}),
        archive.place(datetime.datetime(2024, 2, 29, 23, 59, 58)),
    ]
    uid = archive.place({"$class": archive.class_named("NSArray"), "NS.objects": boxed})
    return archive.write(uid), [
        "1985-07-14T08:30:00",
        "2001-01-01T00:00:00",
        "2001-01-01T00:00:01",
        "2000-12-31T23:59:59",
        "9999-12-31T23:59:59",
        "0001-01-01T00:00:00",
        "2024-02-29T23:59:58",
    ]


def shared():
    archive = Archive()
    text = archive.place("once")
    array_class = archive.class_named("NSArray")
    inner = archive.place({"$class": array_class, "NS.objects": [text, text]})
    outer = archive.place({"$class": array_class, "NS.objects": [inner, text, inner]})
    return archive.write(outer), [["once", "once"], "once", ["once", "once"]]


def derived_classes():
    archive = Archive()
    kind = archive.class_named("OwnDictionary", "NSMutableDictionary", "NSDictionary")
    members = archive.class_named("NSMutableSet", "NSSet")
    inner = archive.place({"$class": members, "NS.objects": [archive.place("member")]})
    key = archive.place("key")
    outer = archive.place({"$class": kind, "NS.keys": [key], "NS.objects": [inner]})
    return archive.write(outer), {"key": ["member"]}


def null_references():
    archive = Archive()
    array_class = archive.class_named("NSArray")
    uid = archive.place({"$class": array_class, "NS.objects": [plistlib.UID(0)]})
    return archive.write(uid), [None]


def referred_contents():
    archive = Archive()
    text = archive.place("in its own place")
    kind = archive.class_named("NSMutableString", "NSString")
    return archive.write(archive.place({"$class": kind, "NS.string": text})), "in its own place"


def many():
    """More than 65,535 objects: references of four bytes."""
    value = list(range(70000))
    archive = Archive()
    return archive.write(archive.add(value)), value


def plain(value, **form):
    archive = Archive(**form)
    return archive.write(archive.add(value)), value


def refused():
    one = Archive()
    text = one.place("text")
    number = one.place(1)
    dictionary = one.collection("Dictionary")
    unknown = one.place({"$class": one.class_named("NotKnown")})
    uneven = one.place({"$class": dictionary, "NS.keys": [text], "NS.objects": []})
    numbered = one.place({"$class": dictionary, "NS.keys": [number], "NS.objects": [text]})
    far = one.place({"$class": one.class_named("NSDate"), "NS.time": 1e300})
    nan = one.place({"$class": one.class_named("NSDate"), "NS.time": float("nan")})
    worded = one.place({"$class": one.class_named("NSDate"), "NS.time": "now"})
    return {
        "an unknown class": one.write(unknown),
        "fewer values than keys": one.write(uneven),
        "a key that is no text": one.write(numbered),
        "a date beyond the calendar": one.write(far),
        "a date that is no number": one.write(nan),
        "a date in words": one.write(worded),
        "a class description that is text": one.write(one.place({"$class": text})),
        "an object without a class": one.write(one.place({"key": text})),
        "a plain list": one.write(one.place([text])),
        "a root beyond the objects": one.write(plistlib.UID(len(one.objects))),
        "a root that is no reference": one.write("text"),
        "no root": one.write(text, **{"$top": {}}),
        "no objects": one.write(text, **{"$objects": []}),
        "objects that are text": one.write(text, **{"$objects": "text"}),
        "another archiver": one.write(text, **{"$archiver": "OtherArchiver"}),
        "a later version": one.write(text, **{"$version": 200000}),
        "no archive": plistlib.dumps({"key": 1}, fmt=plistlib.FMT_BINARY),
        "a list": plistlib.dumps([1], fmt=plistlib.FMT_BINARY),
        "xml": plistlib.dumps({"key": 1}),
    }


def main(directory):
    accepted = {
        "immutable": plain(EVERYTHING),
        "mutable": plain(EVERYTHING, mutable=True),
        "boxed": plain(EVERYTHING, boxed=True),
        "mutable boxed": plain(EVERYTHING, mutable=True, boxed=True),
        "text": plain("text"),
        "empty list": plain([]),
        "null object": plain(None),
        "absent": (Archive().write(plistlib.UID(0)), None),
        "dates": dates(),
        "shared": shared(),
        "derived classes": derived_classes(),
        "null references": null_references(),
        "referred contents": referred_contents(),
        "many": many(),
    }
    for name, (data, value) in accepted.items():
        with open(os.path.join(directory, name + ".plist"), "wb") as file:
            file.write(data)
        with open(os.path.join(directory, name + ".expected"), "w") as file:
            file.write(canonical(value))
    for name, data in refused().items():
        with open(os.path.join(directory, name + ".plist"), "wb") as file:
            file.write(data)


if __name__ == "__main__":
    main(sys.argv[1])
