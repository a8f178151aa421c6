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
  "${script_packages[@]}" libgtest-dev libgmock-dev libpcre2-dev libplist-dev clang-format nginx
  dbus gnome-keyring chromium chromium-driver libnss3-tools
)
fuzz_packages=(clang libclang-rt-14-dev libpcre2-dev)
bench_packages=(nginx libboost1.81-dev ca-certificates binutils)
lint_packages=(clang-tidy clang-format)

is_installed() {
  [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# Installs the ones of its arguments that are missing; without any missing it runs nothing.
require_packages() {
  local package missing=() as_root=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  say "installing Debian packages: ${missing[*]}"
  if ((EUID != 0)); then
    command -v sudo >/dev/null ||
      fail "these packages are missing and only root may install them: ${missing[*]}"
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get -q update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -q install -y --no-install-recommends "${missing[@]}"
}
