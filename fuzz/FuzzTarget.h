#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

// Begins a fuzz target whose input is seen as text: ORX_FUZZ_TARGET(text) { ... }
#define ORX_FUZZ_TARGET(text)                                                         \
  static void fuzzTarget(std::string_view text);                                      \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    fuzzTarget({reinterpret_cast<const char*>(data), size});                          \
    return 0;                                                                         \
  }                                                                                   \
  static void fuzzTarget(std::string_view text)

// Ends the process, which a fuzzer counts as a find, when the condition does not hold.
#define ORX_FUZZ_CHECK(condition)                              \
  do {                                                         \
    if (!(condition)) {                                        \
      std::fprintf(stderr, "does not hold: %s\n", #condition); \
      std::abort();                                            \
    }                                                          \
  } while (false)
