# SPDX-License-Identifier: MIT
"""Reads the keyring and the item's file, which holds the item or says where it is, without the library;
and puts such a state in place."""

from dataclasses import dataclass

import stores

# Where an earlier version of the library kept its note, beside the item's file.
RECORD = stores.ITEM.with_suffix(".state")
KEYRING, FILE, NOWHERE = "secret-service", "file", "nowhere"
RECORDS = {
    f"newest: {newest}\nstale:{''.join(' ' + place for place in stale)}\n": (newest, stale)
    for newest in (NOWHERE, KEYRING, FILE)
    for stale in ((), (KEYRING,), (FILE,), (KEYRING, FILE))
}


@dataclass(frozen=True)
class Owner:
    """The installation and the user that an item names."""

    uuid: str
    login: str


@dataclass(frozen=True)
class Held:
    uuid: str | None
    record: tuple | str | None  # (newest, stale), DAMAGED or absent
    file: Owner | None  # of the item that the file holds
    keyring: tuple  # of owners, the newest item's first

    @property
    def place(self):
        """The store that holds the user; None when no store does."""
        if self.record is None:
            return KEYRING if self.keyring else None
        if self.record == stores.DAMAGED or self.record[0] == NOWHERE:
            return None
        return self.record[0]

    @property
    def owner(self):
        """The owner of the item that a start reads."""
        if self.place == FILE:
            return self.file
        return self.keyring[0] if self.place == KEYRING and self.keyring else None

    @property
    def user(self):
        return self.owner.login if self.owner and self.owner.uuid == self.uuid else None

    @property
    def stale(self):
        return self.record[1] if isinstance(self.record, tuple) else ()

    def reachable(self, service):
        """Whether a session with (or without) a service can read the store that holds the user."""
        return service or self.place != KEYRING

    def restorable(self, service):
        """The login of the user whom a start restores in such a session."""
        return self.user if service or self.place != KEYRING else None


def read(home, session):
    defaults, item, record = home / stores.DEFAULTS, home / stores.ITEM, home / RECORD
    uuid = stores.read_uuid(defaults.read_bytes()) if defaults.exists() else None
    assert uuid != stores.DAMAGED, "damaged defaults"
    note = stores.split_note(item.read_bytes()) if item.exists() else None
    file = owner_of(note[2]) if note not in (None, stores.DAMAGED) and note[2] else None
    says = note if note in (None, stores.DAMAGED) else note[:2]
    if record.exists():
        says = RECORDS.get(record.read_text(), stores.DAMAGED)
    return Held(uuid, says, file, tuple(owner_of(secret) for secret in session.secrets()))


def owner_of(content):
    blob = stores.blob_in(content)
    assert blob is not None, "a damaged item"
    return Owner(*stores.owner_of(blob))


@dataclass(frozen=True)
class Snapshot:
    files: dict
    items: str


def snapshot(home, session):
    return Snapshot(stores.tree(home), session.items_text)


def kind(state, held):
    """Equal for states that the library treats alike: the names of temporary files and of users, the
    installation's UUID and times are left out."""
    files = sorted((str(path.with_name("temporary") if path.name.startswith(".orx-tmp-") else path),
                    mode, content and len(content)) for path, (mode, content) in state.files.items())
    logins = [owner.login for owner in (held.file, *held.keyring) if owner]
    owners = [(logins.index(owner.login), owner.uuid == held.uuid) if owner else None
              for owner in (held.file, *held.keyring)]
    return repr((files, owners, held.uuid is None, held.record))


def plant(home, session, held):
    stores.plant(home, held.files)
    session.plant(held.items)
    session.set_script()
