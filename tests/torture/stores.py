# SPDX-License-Identifier: MIT
"""Reads the two stored files without the library: property lists by plistlib, the item's file by its
format. And puts trees of files in place, which are the states that a trial begins with."""

import io
import plistlib
import shutil
import struct
import zlib
from dataclasses import dataclass
from pathlib import Path

from host import hand_over

UUID_KEY = "com.orva.account.ORVAAccountUserUserDefaultKey"
SERVICE = "com.orva.account.usercache.com.example.host"
ACCOUNT = "com.orva.account.ORVAAccountUserKeychainKey"
DEFAULTS = Path("config/com.example.host/defaults.plist")
ITEM = Path("data/orxaccount") / f"{SERVICE},{ACCOUNT}.item"
DAMAGED = "(damaged)"


@dataclass(frozen=True)
class Stored:
    """The content of the defaults and the item. None stands for absent, DAMAGED for unreadable."""

    uuid: str | None
    blob_uuid: str | None
    login: str | None

    @property
    def user(self):
        """The login of the user whom a start restores from these files."""
        whole = self.uuid not in (None, DAMAGED) and self.blob_uuid not in (None, DAMAGED)
        return self.login if whole and self.uuid == self.blob_uuid else None

    @property
    def is_removed_at_start(self):
        return self.blob_uuid is not None and self.uuid != self.blob_uuid and DAMAGED not in (
            self.uuid, self.blob_uuid)

    @property
    def is_damaged(self):
        return DAMAGED in (self.uuid, self.blob_uuid)


def root_of(archive):
    """The root object of a keyed archive. Raises AssertionError for an archive that is malformed."""
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000, archive
    assert list(archive["$top"]) == ["root"] and archive["$objects"][0] == "$null", archive
    objects = archive["$objects"]

    def restore(uid):
        stored = objects[uid.data]
        if uid.data == 0 or not isinstance(stored, dict):
            return None if uid.data == 0 else stored
        named = objects[stored["$class"].data]
        assert named["$classes"] == [named["$classname"], "NSObject"], named
        if named["$classname"] == "NSDictionary":
            assert set(stored) == {"$class", "NS.keys", "NS.objects"}, stored
            pairs = zip(stored["NS.keys"], stored["NS.objects"], strict=True)
            return {restore(key): restore(value) for key, value in pairs}
        fields = {key: restore(value) for key, value in stored.items() if key != "$class"}
        return {"class": named["$classname"], **fields}

    return restore(archive["$top"]["root"])


def plist(data):
    return plistlib.load(io.BytesIO(data), fmt=plistlib.FMT_BINARY)


def checksum_of(data):
    return data[-32:-27]


def expected_checksum(data):
    return struct.pack("<IB", zlib.crc32(data[:-32] + bytes(5) + data[-27:]), 0xA5)


def read_uuid(data):
    try:
        content = plist(data)
    except (plistlib.InvalidFileException, ValueError, IndexError, OverflowError):
        return DAMAGED
    # A property list of another program has zeros in place of the checksum.
    assert checksum_of(data) in (bytes(5), expected_checksum(data)), "the checksum is wrong"
    assert set(content) <= {UUID_KEY}, content
    return content.get(UUID_KEY)


def as_another_writes(files):
    """The same defaults and item as plistlib writes them, with other bytes."""

    def again(data):
        return plistlib.dumps(plist(data), fmt=plistlib.FMT_BINARY, sort_keys=False)

    (defaults_mode, defaults), (item_mode, item) = files[DEFAULTS], files[ITEM]
    blob = blob_in(item)
    archive = plist(blob)
    # An unused object moves the others to other places in the file.
    archive["$objects"].append("unused")
    written = plistlib.dumps(archive, fmt=plistlib.FMT_BINARY)
    content = (item[:16] + struct.pack("<I", len(written)) +
               item[20:len(item) - 4 - len(blob)] + written)
    item = content + struct.pack("<I", zlib.crc32(content))
    return {**files, DEFAULTS: (defaults_mode, again(defaults)), ITEM: (item_mode, item)}


def split_note(data):
    """(newest, stale, the item) as an item's file says, DAMAGED when its note is. A file without a
    note is the item."""
    if not data.startswith(b"newest: "):
        return "file", (), data
    *lines, item = data.split(b"\n", 3)
    if len(lines) < 3 or lines[2] != b"checksum: %08x" % zlib.crc32(b"\n".join(lines[:2]) + b"\n"):
        return DAMAGED
    return lines[0].decode().split()[1], tuple(lines[1].decode().split()[1:]), item


def blob_in(data):
    """The keychain blob in an item's bytes, None when they are damaged."""
    if len(data) < 24 or data[:8] != b"ORXITEM1":
        return None
    lengths = struct.unpack("<III", data[8:20])
    if len(data) != 24 + sum(lengths) or struct.unpack("<I", data[-4:])[0] != zlib.crc32(data[:-4]):
        return None
    service, account = lengths[0], lengths[0] + lengths[1]
    assert data[20:20 + service].decode() == SERVICE
    assert data[20 + service:20 + account].decode() == ACCOUNT
    return data[20 + account:-4]


def read(home):
    """Raises AssertionError when an undamaged file holds something that the library never writes."""
    defaults, item = home / DEFAULTS, home / ITEM
    uuid = read_uuid(defaults.read_bytes()) if defaults.exists() else None
    note = split_note(item.read_bytes()) if item.exists() else ("nowhere", (), b"")
    if note[0] == "nowhere":
        return Stored(uuid, None, None)
    blob = blob_in(note[2]) if note != DAMAGED else None
    if blob is None:
        return Stored(uuid, DAMAGED, None)
    return Stored(uuid, *owner_of(blob))


def owner_of(blob):
    """(installation UUID, login) of a keychain blob, whose fields are checked."""
    root = root_of(plist(blob))
    assert set(root) == {"uuid", "data"}, root
    record = root_of(plist(root["data"]))
    assert set(record) == {"class", "_userInfo"} and record["class"] == "ORVAAccountUser", record
    info = record["_userInfo"]
    login = info["login"]
    if "ticket" in info:  # it came from the service, with more fields than the host's own users have
        # The account of another provider's identity has no address.
        assert info["email"] == ("" if ":" in login else login) and info["ticket"], info
        return root["uuid"], login
    assert info == {"login": login, "email": f"{login}@example.com", "first_name": login,
                    "cus_id": 12345678901}, info
    return root["uuid"], login


def tree(home):
    """{path: (mode, content)} of everything below the folder; the content of a folder is None."""
    return {
        path.relative_to(home): (path.stat().st_mode & 0o7777,
                                 None if path.is_dir() else path.read_bytes())
        for path in sorted(home.rglob("*"))
    }


def plant(home, files):
    """Replaces the folder's content by these files."""
    shutil.rmtree(home, ignore_errors=True)
    home.mkdir(mode=0o755)
    hand_over(home)
    for path, (mode, content) in files.items():
        if content is None:
            (home / path).mkdir()
        else:
            (home / path).write_bytes(content)
        (home / path).chmod(mode)
        hand_over(home / path)


def traces(home, words):
    """The files that contain one of the words, and temporary files of a killed writer."""
    return [
        str(path.relative_to(home)) for path in home.rglob("*") if path.is_file() and
        (path.name.startswith(".orx-tmp-") or any(word in path.read_bytes() for word in words))
    ]
