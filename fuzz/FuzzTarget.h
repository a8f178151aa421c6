// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

// Defines a fuzz target that takes its input as a std::string_view: ORX_FUZZ_TARGET(text) { ... }
#define ORX_FUZZ_TARGET(text)                                                         \
  static void fuzzTarget(std::string_view text);                                      \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    fuzzTarget({reinterpret_cast<const char*>(data), size});                          \
    return 0;                                                                         \
  }                                                                                   \
  static void fuzzTarget(std::string_view text)

// Aborts when the condition does not hold, which a fuzzer reports as a finding.
#define ORX_FUZZ_CHECK(condition)                              \
  do {                                                         \
    if (!(condition)) {                                        \
      std::fprintf(stderr, "does not hold: %s\n", #condition); \
      std::abort();                                            \
    }                                                          \
  } while (false)
