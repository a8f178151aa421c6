#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""On a fresh Debian the packages install, README's program and one in C are built against them and sign in
at the packaged development service, the example of a host's tests passes, and nothing is left after they are
removed.

usage: package_test.py FOLDER-OF-PACKAGES
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
PROGRAMS = [HERE.parents[1] / "examples" / name for name in ("host.cpp", "sign_in.c")]
PACKAGES = ["liborxaccount1", "liborxaccount-dev", "liborxaccount-devservice-dev", "orxaccount",
            "orxaccount-devserver"]

INSIDE = r"""
set -eu
cd /trial
list() { find / -xdev \( -path /proc -o -path /sys -o -path /trial -o -path /tmp -o -path /var/cache \
  -o -path /var/log -o -path /var/lib/dpkg -o -path /var/lib/apt \) -prune -o -print | sort; }
apt-get update -q >/dev/null
apt-get install -y -q --no-install-recommends g++ pkg-config cmake make libgtest-dev >/dev/null
list >before
apt-get install -y -q --no-install-recommends ./*.deb >/dev/null
g++ -std=c++20 host.cpp -o host $(pkg-config --cflags --libs orxaccount)
cmake -S /usr/share/doc/liborxaccount-devservice-dev/examples/testing -B tests >/dev/null
cmake --build tests
ctest --test-dir tests --output-on-failure
gcc -std=c99 sign_in.c -o sign_in $(pkg-config --cflags --libs orxaccount)
orxaccount-devserver >ready &
server=$!
while ! [ -s ready ]; do sleep 0.1; done
host=$(sed 's/.*"caFile":"\([^"]*\)".*/\1/' ready)
port=$(sed 's/.*"port":\([0-9]*\).*/\1/' ready)
for program in ./host ./sign_in; do
  HOME=/trial DBUS_SESSION_BUS_ADDRESS=disabled: $program "$host" "localhost:$port"
done | tee said
orxaccount --help >/dev/null
for page in man/man1/orxaccount.1.gz bash-completion/completions/orxaccount \
  fish/vendor_completions.d/orxaccount.fish zsh/vendor-completions/_orxaccount; do
  test -s "/usr/share/$page"
done
# Whatever a file needs of another package stands in the bill of materials.
for file in /usr/lib/*/liborxaccount.so.1 /usr/bin/orxaccount /usr/bin/orxaccount-devserver; do
  objdump -p $file | awk '/NEEDED/ { print $2 }'
done | sort -u | while read -r needed; do
  package=$(dpkg -S "*/$needed" | sed 's/:.*//' | head -n 1)
  grep -q "\"name\": \"$package\"" orxaccount.cdx.json || { echo "no $package in the bill"; exit 1; }
done
kill $server
wait $server || true
test "$(grep -c '^Hello ' said)" = 2
apt-get purge -y -q PACKAGES >/dev/null
apt-get autoremove -y -q --purge >/dev/null
list >after
diff before after
"""


def check_what_is_loaded(bill):
    """No linker knows of what the library loads by name, so its package has to name that by itself."""
    needed = next(entry["dependsOn"] for entry in bill["dependencies"]
                  if entry["ref"].startswith("pkg:deb/debian/liborxaccount1@"))
    for library in ("libcurl4", "libssl3"):
        if not any(name.startswith(f"pkg:deb/debian/{library}@") for name in needed):
            raise SystemExit(f"liborxaccount1 does not depend on {library}")


def plain_environment():
    """CMake would start a compiler launcher that this machine's user has chosen, which is not there."""
    return {name: value for name, value in os.environ.items() if not name.startswith(("CMAKE_", "CCACHE_"))}


def main():
    check_what_is_loaded(json.loads((Path(sys.argv[1]) / "orxaccount.cdx.json").read_text()))
    packages = sorted(Path(sys.argv[1]).glob("*.deb"))
    packages = [package for package in packages if "-dbgsym_" not in package.name]
    if len(packages) != len(PACKAGES):
        raise SystemExit(f"there are {len(packages)} packages, not {len(PACKAGES)}")
    with tempfile.TemporaryDirectory(prefix="orxaccount-root.") as name:
        root = Path(name) / "root"
        subprocess.run(["mmdebstrap", "--variant=apt", "bookworm", root], check=True)
        (root / "trial").mkdir()
        for file in [*packages, *PROGRAMS, Path(sys.argv[1]) / "orxaccount.cdx.json"]:
            shutil.copy(file, root / "trial")
        # It gets further packages from where this machine gets its own.
        shutil.copytree("/etc/apt/apt.conf.d", root / "etc/apt/apt.conf.d", dirs_exist_ok=True)
        shutil.copy("/etc/resolv.conf", root / "etc/resolv.conf")
        script = INSIDE.replace("PACKAGES", " ".join(PACKAGES))
        subprocess.run(["mount", "--bind", "/proc", root / "proc"], check=True)
        try:
            subprocess.run(["chroot", root, "sh", "-c", script], env=plain_environment(), check=True)
        finally:
            subprocess.run(["umount", root / "proc"], check=True)
    print("installed, used and removed without a trace")


if __name__ == "__main__":
    main()
