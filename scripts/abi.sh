# Whether programs that were built against the last version run with this one; sourced by ./dev.

abi_packages=(abigail-tools dpkg-dev)
abi_record=abi/liborxaccount.abi

# What a host sees of a library: what it exports, and the types that its headers define.
describe_abi() {
  local library=$1 headers=$2
  abidw --headers-dir "$headers" --drop-private-types --drop-undefined-syms --no-architecture \
    --no-corpus-path --no-comp-dir-path --no-elf-needed --no-show-locs --no-parameter-names \
    --no-write-default-sizes --type-id-style hash "$library"
}

# Fails when a program that uses what the record holds would not run with this library, unless the
# library has another SONAME than the recorded one.
compare_abi() {
  local record=$1 library=$2 headers=$3 now recorded_name name report
  now=$(mktemp)
  describe_abi "$library" "$headers" >"$now"
  recorded_name=$(soname_in "$record")
  name=$(soname_in "$now")
  report=$(abidiff --no-added-syms "$record" "$now") && report=
  rm "$now"
  if [[ -z $report ]]; then
    say "programs built against the recorded $recorded_name run with this $name"
  elif [[ $name != "$recorded_name" ]]; then
    say "this $name is announced to break what was built against $recorded_name:"
    echo "$report"
  else
    echo "$report"
    fail "this breaks programs that were built against $recorded_name; where it is meant, the major" \
      "version in CMakeLists.txt says so"
  fi
}

soname_in() { sed -n "s/.* soname='\([^']*\)'.*/\1/p" "$1" | head -n 1; }
