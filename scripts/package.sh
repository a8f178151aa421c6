# SPDX-License-Identifier: MIT
# Debian packages, and a fresh machine that they are installed on; sourced by ./dev.

package_packages=(debhelper lintian mmdebstrap)

# From the files of the repository alone, so that nothing that lies around gets into a package.
build_packages_from_clean_tree() {
  local place=$1
  rm -rf "$place"
  mkdir -p "$place/source"
  git ls-files -z | xargs -0 cp --parents -t "$place/source"
  (
    cd "$place/source"
    if command -v ccache >/dev/null; then
      # The build gets another home, in which ccache would find nothing.
      export CCACHE_DIR CMAKE_CXX_COMPILER_LAUNCHER=ccache
      CCACHE_DIR=$(ccache --get-config cache_dir)
    fi
    dpkg-buildpackage --build=binary --no-sign
  )
}

package() {
  local place=build/debian packaged
  require_packages "${build_packages[@]}" "${package_packages[@]}" "${copy_packages[@]}"
  packaged=$(dpkg-parsechangelog --show-field Version)
  # What stands behind the hyphen counts the packages of one version.
  [[ ${packaged%-*} == "$(version)" ]] ||
    fail "debian/changelog is of version $packaged, CMakeLists.txt of $(version)"
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
