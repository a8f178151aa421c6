// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "Growth.h"

// Takes an input apart. What has no more bytes gives zero and empty text.
class FuzzInput {
 public:
  explicit FuzzInput(std::string_view rest) : rest_(rest) {}

  // A printable letter stands for the same small number as its control character, so that inputs
  // that people write are texts.
  unsigned number(unsigned below) {
    const std::string_view byte = take(1);
    return byte.empty() ? 0 : static_cast<unsigned char>(byte[0]) % 32U % below;
  }
  // Up to the mark, which is passed over, or to the end.
  std::string_view upTo(std::string_view mark) {
    const auto end = std::min(rest_.find(mark), rest_.size());
    const auto taken = take(end);
    take(mark.size());
    return taken;
  }
  std::string_view line() { return upTo("\n"); }
  std::string_view rest() const { return rest_; }
  bool empty() const { return rest_.empty(); }

 private:
  std::string_view take(std::size_t size) {
    const auto taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
};

// Defines a fuzz target that takes its input as a std::string_view: ORX_FUZZ_TARGET(text) { ... }
#define ORX_FUZZ_TARGET(text)                                                         \
  static void fuzzTarget(std::string_view text);                                      \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    checkGrowth({reinterpret_cast<const char*>(data), size}, fuzzTarget);             \
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
