# SPDX-License-Identifier: MIT
# Whether programs that were built against the recorded interface run with this one; sourced by
# ./dev.

abi_packages=(abigail-tools binutils dpkg-dev)
abi_record=abi/liborxaccount.abi
abi_headers=include/ORXAccount

# What a host sees of a library that was built with debug information: what it exports, and the
# types that its headers define. Without names of files and lines, which change with every edit.
describe_abi() {
  local library=$1 headers=$2
  abidw --suppressions abi/foreign.suppr --headers-dir "$headers" --drop-private-types \
    --drop-undefined-syms --exported-interfaces-only --no-architecture --no-corpus-path \
    --no-comp-dir-path --no-elf-needed --no-show-locs --no-parameter-names --no-write-default-sizes \
    --type-id-style hash "$library"
}

soname_in() { sed -n "s/.* soname='\([^']*\)'.*/\1/p" "$1" | head -n 1; }

# Fails when what is gone or different breaks a host, unless another SONAME announces it. What is
# new breaks nobody.
compare_abi() {
  local record=$1 library=$2 headers=$3 now recorded_name name report
  now=$(mktemp)
  describe_abi "$library" "$headers" >"$now"
  recorded_name=$(soname_in "$record")
  name=$(soname_in "$now")
  if report=$(abidiff --no-added-syms "$record" "$now"); then report=; fi
  rm "$now"
  if [[ -z $report ]]; then
    say "programs built against the recorded $recorded_name run with this $name"
    return
  fi
  echo "$report"
  [[ $name != "$recorded_name" ]] ||
    fail "this breaks programs built against $recorded_name (meant? then raise the major version)"
  say "$name is announced to break programs built against $recorded_name"
}

# Writes the package's list of symbols, each with the version that first had it. In the compiler's
# spelling, since the readable one is the same for different symbols, one of which could go
# unnoticed.
record_symbols() {
  local library=$1 list=$2 version=$3 now
  now=$(mktemp)
  # Not from the present list, in which it would keep what is gone since the same version.
  dpkg-gensymbols -q -c0 -v"$version" -p"$(basename "$list" .symbols)" -Pdebian -e"$library" \
    -I/dev/null -O"$now"
  [[ -f $list ]] || echo >"$list"
  awk 'FNR == NR { first[$1] = $2; next }
       /@/ { print " " $1 " " ($1 in first ? first[$1] : $2); next }
       { print; print "* Build-Depends-Package: liborxaccount-dev" }' "$list" "$now" >"$list.new"
  mv "$list.new" "$list"
  rm "$now"
}

abi() {
  local library=build/package/src/liborxaccount.so version
  require_packages "${build_packages[@]}" "${abi_packages[@]}"
  configure package
  build package orxaccount_shared
  if [[ ${1:-} != --record ]]; then
    say "comparing with $abi_record"
    compare_abi "$abi_record" "$library" "$abi_headers"
    return
  fi
  version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
  say "recording the interface of $version in $abi_record and debian/liborxaccount${version%%.*}.symbols"
  describe_abi "$library" "$abi_headers" >"$abi_record"
  record_symbols "$library" "debian/liborxaccount${version%%.*}.symbols" "$version"
}
