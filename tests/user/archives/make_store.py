# SPDX-License-Identifier: MIT
"""Writes the content of the two stores as other conforming archivers would, into the given directory:
defaults.plist, and NAME.blob for each way to write the item's blob."""

import os
import plistlib
import sys

UID = plistlib.UID
UUID = "8D1F0A6C-5A53-4C0E-9B0B-7C1E3F2A9D10"


class Archive:
    def __init__(self, mutable=False, boxed=False):
        self.mutable = mutable
        self.boxed = boxed
        self.objects = ["$null"]

    def place(self, stored):
        self.objects.append(stored)
        return UID(len(self.objects) - 1)

    def named(self, *names):
        return self.place({"$classname": names[0], "$classes": [*names, "NSObject"]})

    def kind(self, name):
        return self.named("NSMutable" + name, "NS" + name) if self.mutable else self.named(
            "NS" + name)

    def text(self, value):
        if not self.boxed:
            return self.place(value)
        return self.place({"NS.string": value, "$class": self.kind("String")})

    def data(self, value):
        if not self.boxed:
            return self.place(value)
        return self.place({"NS.data": value, "$class": self.kind("Data")})

    def dictionary(self, pairs):
        return self.place({"NS.keys": [self.place(key) for key, _ in pairs],
                           "NS.objects": [value for _, value in pairs],
                           "$class": self.kind("Dictionary")})

    def finish(self, root, form=plistlib.FMT_BINARY):
        return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver",
                               "$top": {"root": root}, "$objects": self.objects}, fmt=form)


def blob(classes=("ORVAAccountUser",), backwards=False, **style):
    inner = Archive(**style)
    info = inner.dictionary([("login", inner.text("someone")), ("points", inner.place(12))])
    record = inner.finish(inner.place({"_userInfo": info, "$class": inner.named(*classes)}))
    outer = Archive(**style)
    pairs = [("uuid", outer.text(UUID)), ("data", outer.data(record))]
    return outer.finish(outer.dictionary(pairs[::-1] if backwards else pairs))


BLOBS = {
    "plain": blob(),
    "mutable": blob(mutable=True),
    "boxed": blob(boxed=True),
    "mutable-boxed": blob(mutable=True, boxed=True),
    "backwards": blob(backwards=True),
    "derived": blob(classes=("OwnUser", "ORVAAccountUser")),
}

folder = sys.argv[1]
for name, content in BLOBS.items():
    with open(os.path.join(folder, name + ".blob"), "wb") as file:
        file.write(content)
with open(os.path.join(folder, "defaults.plist"), "wb") as file:
    plistlib.dump({"com.orva.account.ORVAAccountUserUserDefaultKey": UUID,
                   "of the host": [1, {"deep": b"x"}]}, file, fmt=plistlib.FMT_BINARY)
