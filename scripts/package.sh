# SPDX-License-Identifier: MIT
# Debian packages, and a fresh machine that they are installed on; sourced by ./dev.

package_packages=(debhelper lintian mmdebstrap)

# From the files of the repository alone, so that nothing that lies around gets into a package.
build_packages_from_clean_tree() {
  local place=$1
  rm -rf "$place"
  mkdir -p "$place/source"
  git ls-files -z | xargs -0 cp --parents -t "$place/source"
  (cd "$place/source" && dpkg-buildpackage --build=binary --no-sign)
}

package() {
  local place=build/debian
  require_packages "${build_packages[@]}" "${package_packages[@]}"
  say "building packages"
  build_packages_from_clean_tree "$place"
  say "checking them with lintian"
  lintian --fail-on=error,warning "$place"/*.changes
  python3 -B scripts/sbom.py "$place" "$place/orxaccount.cdx.json"
  say "installing them on a fresh Debian, building README's program there, removing them"
  python3 -B tests/install/package_test.py "$place"
  say "the packages are in $place:"
  ls "$place"/*.deb "$place"/*.cdx.json
}
