#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds every target for a fuzzing service, into $OUT: program, dictionary and corpus of each.
# Takes CC, CXX, CFLAGS, CXXFLAGS and LIB_FUZZING_ENGINE, which bring compiler, sanitizer and engine.
set -euo pipefail
: "${CC:=clang}" "${CXX:=clang++}" "${CFLAGS:=}" "${CXXFLAGS:=-fsanitize=fuzzer-no-link,address}"
: "${LIB_FUZZING_ENGINE:=-fsanitize=fuzzer}" "${OUT:?where the programs go}"
source_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_folder=${WORK:-$source_folder/build}/fuzz-service
mkdir -p "$OUT"
cmake -S "$source_folder" -B "$build_folder" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
  -DCMAKE_C_FLAGS="$CFLAGS" -DCMAKE_CXX_FLAGS="$CXXFLAGS" \
  -DORX_FUZZING_ENGINE="$LIB_FUZZING_ENGINE" -DORX_FUZZING_FLAGS= \
  -DORX_LIBFUZZER=ON -DORX_BUILD_TESTS=OFF -DORX_BUILD_TOOLS=OFF
cmake --build "$build_folder" --target fuzzers
for program in "$build_folder"/fuzz/*_fuzzer; do
  name=$(basename "$program" _fuzzer)
  cp "$program" "$OUT/"
  dictionary=$source_folder/fuzz/dictionaries/$name.dict
  [[ ! -e $dictionary ]] || cp "$dictionary" "$OUT/${name}_fuzzer.dict"
  (cd "$source_folder/fuzz/corpus/$name" && python3 -m zipfile -c "$OUT/${name}_fuzzer_seed_corpus.zip" ./*)
done
