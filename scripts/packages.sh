# SPDX-License-Identifier: MIT
# Debian packages that each command needs; sourced by ./dev.

build_packages=(
  g++ cmake ninja-build pkg-config
  libcurl4-openssl-dev libglib2.0-dev libexpat1-dev libutf8proc-dev uuid-dev nlohmann-json3-dev
  libexpected-dev
  libcli11-dev libcpp-httplib-dev libssl-dev libsqlite3-dev
  libpng-dev libjpeg62-turbo-dev libwebp-dev
)
script_packages=(python3)
test_packages=(
  "${script_packages[@]}" libgtest-dev libgmock-dev libpcre2-dev libplist-dev libxml2-dev clang-format nginx
  qt6-base-dev libasio-dev libboost1.81-dev
  dbus gnome-keyring chromium chromium-driver libnss3-tools binutils dpkg-dev groff-base zsh fish
  abigail-tools doxygen
)
torture_packages=(haproxy)
fuzz_packages=(clang libclang-rt-14-dev libpcre2-dev libplist-dev libxml2-dev)
bench_packages=(nginx libboost1.81-dev ca-certificates binutils libpcre2-dev libplist-dev libxml2-dev valgrind)
docs_packages=(doxygen python3)
lint_packages=(clang-tidy clang-format)

# Copies of the sources hold the files that git lists.
copy_packages=(git)

# Sets as_root to what a command needs before it to run as root; without a way there, ends with the
# message.
become_root() {
  as_root=()
  ((EUID != 0)) || return 0
  command -v sudo >/dev/null || fail "$1"
  as_root=(sudo)
}

# Installs the missing ones of the given packages. Needs neither apt-get nor sudo when none is
# missing.
require_packages() {
  local package installed missing=() as_root=()
  installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
  for package in "$@"; do
    [[ $'\n'$installed$'\n' == *$'\n'"$package installed"$'\n'* ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  say "installing Debian packages: ${missing[*]}"
  become_root "these packages are missing and only root may install them: ${missing[*]}"
  "${as_root[@]}" apt-get -q update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -q install -y --no-install-recommends "${missing[@]}"
}
