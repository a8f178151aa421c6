#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes a bill of materials (CycloneDX 1.4, JSON) for the Debian packages in a folder: what each consists of,
and which packages of the distribution it depends on, or loads where they are there, in the versions it was built with.

usage: sbom.py FOLDER FILE
"""

import hashlib
import json
import re
import subprocess
import sys
from pathlib import Path

# Libraries of headers alone, which no package depends on once it is built.
COMPILED_IN = {"liborxaccount1": ["libexpected-dev"],
               "liborxaccount-devservice-dev": ["nlohmann-json3-dev"],
               "orxaccount": ["libcli11-dev", "nlohmann-json3-dev"],
               "orxaccount-devserver": ["libcli11-dev", "nlohmann-json3-dev"]}


def field(package, name):
    return subprocess.run(["dpkg-deb", "-f", package, name], capture_output=True, text=True,
                          check=True).stdout.strip()


def names_in(package, relation):
    """The names in Depends or Recommends, without versions and alternatives."""
    relations = field(package, relation).split(",")
    return sorted({re.split(r"[\s(|]", relation.strip())[0] for relation in relations if relation.strip()})


def version_installed(name):
    query = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", name], capture_output=True, text=True,
                           check=False)
    return query.stdout if query.returncode == 0 else ""


def reference(name, version):
    return f"pkg:deb/debian/{name}@{version}" if version else f"pkg:deb/debian/{name}"


def component(kind, name, version):
    entry = {"type": kind, "bom-ref": reference(name, version), "name": name}
    if version:
        entry |= {"version": version, "purl": reference(name, version)}
    return entry


def bill_of(packages):
    own = {field(package, "Package"): package for package in packages}
    versions = {name: field(package, "Version") for name, package in own.items()}
    components, graph = {}, []
    for name, package in own.items():
        entry = component("library" if name.startswith("lib") else "application", name, versions[name])
        entry["licenses"] = [{"license": {"id": "MIT"}}]
        digest = hashlib.sha256(package.read_bytes()).hexdigest()
        entry["hashes"] = [{"alg": "SHA-256", "content": digest}]
        components[entry["bom-ref"]] = entry
    for name, package in own.items():
        needed = []
        required = names_in(package, "Depends") + COMPILED_IN.get(name, [])
        for other in dict.fromkeys(required + names_in(package, "Recommends")):
            entry = component("library", other, versions.get(other) or version_installed(other))
            entry = components.setdefault(entry["bom-ref"], entry | {"scope": "optional"})
            if other in required:
                entry["scope"] = "required"
            needed.append(entry["bom-ref"])
        graph.append({"ref": reference(name, versions[name]), "dependsOn": needed})
    return {"bomFormat": "CycloneDX", "specVersion": "1.4", "version": 1,
            "components": list(components.values()), "dependencies": graph}


def main():
    folder, file = map(Path, sys.argv[1:])
    packages = sorted(path for path in folder.glob("*.deb") if "-dbgsym_" not in path.name)
    if not packages:
        sys.exit(f"sbom.py: there are no packages in {folder}")
    file.write_text(json.dumps(bill_of(packages), indent=2) + "\n")


main()
