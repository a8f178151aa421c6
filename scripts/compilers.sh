# SPDX-License-Identifier: MIT
# Builds what is installed with the compilers and settings that others use, every warning an error;
# sourced by ./dev.

compiler_packages=(clang clang-16 dpkg-dev)

distribution_flags() {
  echo "$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
}

# Name, compiler, build type, flags, other settings; one line each.
compiler_settings() {
  cat <<TEXT
gcc-release|g++|Release||
gcc-debug|g++|Debug||
gcc-cxx23|g++|Release||-DCMAKE_CXX_STANDARD=23
gcc-checked-containers|g++|Debug|-D_GLIBCXX_DEBUG -D_GLIBCXX_DEBUG_PEDANTIC|
gcc-distribution|g++|None|$(distribution_flags)|
gcc-fortified-3|g++|Release|-D_FORTIFY_SOURCE=3 -D_GLIBCXX_ASSERTIONS|
gcc-whole-program|g++|Release||-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON
gcc-one-unit|g++|Release||-DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0
clang-14|clang++-14|Release||
clang-16|clang++-16|Release||
clang-16-cxx23|clang++-16|Debug||-DCMAKE_CXX_STANDARD=23
TEXT
}

# Two builds of the same sources in two folders give the same bytes. The caller looks at the status,
# so `set -e` ends nothing in here: each step that can fail returns by itself.
compare_two_folders() {
  local place=$1 folder
  for folder in here somewhere/else; do
    rm -rf "${place:?}/$folder"
    mkdir -p "$place/$folder/sources"
    git ls-files -z | xargs -0 cp --parents -t "$place/$folder/sources"
    cmake -G Ninja -S "$place/$folder/sources" -B "$place/$folder/build" -DORX_BUILD_TESTS=OFF \
      -DORX_BUILD_FUZZERS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null || return 1
    cmake --build "$place/$folder/build" --target orxaccount_shared orxaccount_static || return 1
  done
  for file in src/liborxaccount.so.1.0.0 src/liborxaccount.a; do
    cmp "$place/here/build/$file" "$place/somewhere/else/build/$file" || return 1
  done
}

compilers() {
  local wanted=${1:-} name compiler type flags settings failed=()
  require_packages "${build_packages[@]}" "${compiler_packages[@]}" "${copy_packages[@]}"
  while IFS='|' read -r name compiler type flags settings; do
    [[ -z $wanted || $name == "$wanted" ]] || continue
    say "building with $name"
    # shellcheck disable=SC2086  # several settings in one field
    cmake -G Ninja -S . -B "build/compilers/$name" -DCMAKE_CXX_COMPILER="$compiler" \
      -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
      -DORX_BUILD_TESTS=OFF -DORX_BUILD_FUZZERS=OFF $settings >/dev/null &&
      cmake --build "build/compilers/$name" || failed+=("$name")
  done < <(compiler_settings)
  if [[ -z $wanted || $wanted == two-folders ]]; then
    say "building in two folders"
    compare_two_folders build/compilers/two-folders || failed+=(two-folders)
  fi
  ((!${#failed[@]})) || fail "failed: ${failed[*]}"
  say "all of them built"
}
