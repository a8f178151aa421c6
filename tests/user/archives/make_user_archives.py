# SPDX-License-Identifier: MIT
"""Writes user records as other conforming archivers would, into the given directory."""

import os
import plistlib
import sys

UID = plistlib.UID


def archive(record_fields, user_class=("ORVAAccountUser",), info_class=("NSDictionary",)):
    objects = [
        "$null",
        {"$class": UID(2), **record_fields},
        {"$classname": user_class[0], "$classes": list(user_class) + ["NSObject"]},
        {
            "NS.keys": [UID(4), UID(5), UID(6)],
            "NS.objects": [UID(7), UID(8), UID(9)],
            "$class": UID(11),
        },
        "login",
        "score",
        "gone",
        "someone@example.com",
        3,
        {"$class": UID(10)},
        {"$classname": "NSNull", "$classes": ["NSNull", "NSObject"]},
        {"$classname": info_class[0], "$classes": list(info_class) + ["NSObject"]},
        b"bytes",
    ]
    return {
        "$version": 100000,
        "$archiver": "NSKeyedArchiver",
        "$top": {"root": UID(1)},
        "$objects": objects,
    }


INFO = {"_userInfo": UID(3)}
ARCHIVES = {
    "immutable": archive(INFO),
    "mutable": archive(INFO, info_class=("NSMutableDictionary", "NSDictionary")),
    "derived": archive(INFO, user_class=("OwnUser", "ORVAAccountUser")),
    "extended": archive({"flag": True, "count": 7, "picture": UID(12), **INFO, "note": "text"}),
    "null": archive({"_userInfo": UID(0)}),
    "missing": archive({}),
    "text": archive({"_userInfo": UID(7)}),
    "plain": archive({"_userInfo": 7}),
}

for name, content in ARCHIVES.items():
    with open(os.path.join(sys.argv[1], name + ".plist"), "wb") as file:
        plistlib.dump(content, file, fmt=plistlib.FMT_BINARY, sort_keys=False)
