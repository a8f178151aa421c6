# SPDX-License-Identifier: MIT
"""The development service, with the accounts of the trials."""

import json
import os
import tempfile
from pathlib import Path

import session

LOGIN, PASSWORD = "user-new@example.com", "correct horse"
TICKET = "ticket-of-user-new"
PROVIDER, NUMBER = "example", "1"
# Its login.
IDENTITY = f"{PROVIDER}:{NUMBER}"


class Service:
    """Started with the object, and ended by the kernel at the latest when this process ends."""

    def __init__(self, program):
        self._folder = tempfile.TemporaryDirectory(prefix="orxaccount-torture.")
        folder = Path(self._folder.name)
        folder.chmod(0o755)
        accounts = folder / "accounts.json"
        accounts.write_text(json.dumps([
            {"login": LOGIN, "passwd": PASSWORD, "first_name": "New", "ticket": TICKET},
            {"openid_type": PROVIDER, "openid_uid": NUMBER}]))
        certificate = folder / "ca.pem"
        self._process, line = session.start(program, "--accounts", accounts, "--ca-out", certificate)
        certificate.chmod(0o644)
        self.request = {"login": LOGIN, "password": PASSWORD, "ticket": TICKET, "openIDType": PROVIDER,
                        "openIDUID": NUMBER, "caFile": str(certificate),
                        "server": f"localhost:{json.loads(line)['port']}"}

    def close(self):
        session.stop(self._process)
        self._folder.cleanup()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
