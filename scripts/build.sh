# SPDX-License-Identifier: MIT
# Configuring, building and testing one preset of CMakePresets.json; sourced by ./dev.

say() { printf '\n== %s\n' "$*"; }
fail() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}

configure() {
  local preset=$1 options=("${@:2}")
  if command -v ccache >/dev/null; then
    options+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  fi
  say "configuring build/$preset"
  cmake --preset "$preset" "${options[@]}"
}

# Builds all targets of a preset, or only those named after it.
build() {
  local preset=$1 targets=("${@:2}")
  say "building ${targets[*]:+${targets[*]} in }build/$preset"
  cmake --build "build/$preset" ${targets[*]:+--target "${targets[@]}"}
}

# Runs two tests per core at a time, since most of them wait for sockets and timers.
run_ctest() {
  local preset=$1 runner=()
  shift
  # This compiler's thread sanitizer cannot reserve its memory when the kernel randomises addresses
  # over a wide range, so the tests run without randomisation.
  if [[ $preset == thread ]] && setarch --addr-no-randomize true 2>/dev/null; then
    runner=(setarch --addr-no-randomize)
  fi
  say "testing build/$preset"
  # Each exception looks through all of what watches returned frames, so that is kept small: with the
  # usual size a test that throws often takes three times as long.
  ASAN_OPTIONS=detect_stack_use_after_return=1:min_uar_stack_size_log=16:max_uar_stack_size_log=16:strict_string_checks=1 \
    UBSAN_OPTIONS=print_stacktrace=1 \
    TSAN_OPTIONS="second_deadlock_stack=1:suppressions='$PWD/scripts/thread-sanitizer.supp'" \
    "${runner[@]}" ctest --test-dir "build/$preset" --output-on-failure \
    --parallel "$((2 * $(nproc)))" "$@"
}

# Prints the C++ files of the project, one a line.
sources() {
  find include src devserver tools examples fuzz tests bench -name '*.cpp' -o -name '*.h' | sort
}

version() {
  sed -n 's/^project(ORXAccount VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt
}

# Whether this user may create or write the folder.
can_write() {
  local folder=$1
  while [[ ! -e $folder ]]; do folder=$(dirname "$folder"); done
  [[ -w $folder ]]
}
