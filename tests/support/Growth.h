// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "support/ProcessorTime.h"

namespace orx::testing {

// A kind of input, of about any number of bytes: `begin`, then pieces until it is long enough, then
// `middle`, as many counterparts of the pieces, and `end`. In pieces, "@" stands for their number.
struct Construct {
  std::string begin;
  std::string piece;
  std::string end{};
  std::string middle{};
  std::string counterpart{};

  std::string ofSize(std::size_t size) const {
    std::string text = begin;
    std::size_t pieces = 0;
    for (; text.size() + pieces * counterpart.size() < size; ++pieces) {
      for (const char character : piece) {
        if (character == '@') {
          text += std::to_string(pieces);
        } else {
          text += character;
        }
      }
    }
    text += middle;
    for (; !counterpart.empty() && pieces > 0; --pieces) text += counterpart;
    return text + end;
  }
};

// From here on memory that was let go is not given back to the system: to get it anew, page by
// page, takes longer than most readings, and only large pieces of memory are given back at once.
inline void keepMemory() {
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

// The factor by which the processor time of `read` grows when its input gets twice as long: 2 when
// it is linear, 4 when it is quadratic. It is the mean of three doublings, begun where one reading
// takes just long enough to be measured: longer ones would measure the caches. Both ends are
// measured close to each other, so that other load on the machine weighs on both; where it did not,
// the growth seems to be more than `most`, and is measured again.
template <typename Read>
double growthPerDoubling(const Construct& construct, Read read, double most) {
  constexpr std::chrono::microseconds kMeasurable{100};
  // In smaller inputs the logarithm of a sorted dictionary alone makes a doubling take 2.4 times
  // as long.
  constexpr std::size_t kLeastBegin = std::size_t{1} << 14U;
  constexpr std::size_t kLargestBegin = std::size_t{1} << 17U;
  constexpr int kDoublings = 3;
  constexpr int kRounds = 8;
  const auto timeOf = [&](const std::string& text) {
    const auto time = leastProcessorTime([&] { read(text); });
    return std::max<std::chrono::duration<double>>(time, kMeasurable / 10);
  };
  keepMemory();
  std::size_t size = std::max(kLeastBegin, 8 * construct.begin.size());
  while (size < kLargestBegin && timeOf(construct.ofSize(size)) < kMeasurable) size *= 2;
  const std::string small = construct.ofSize(size);
  const std::string large = construct.ofSize(size << kDoublings);
  double least = std::numeric_limits<double>::infinity();
  for (int round = 0; round < kRounds && least > most; ++round) {
    const auto before = timeOf(small);
    least = std::min(least, std::pow(timeOf(large) / before, 1.0 / kDoublings));
  }
  return least;
}

// Every parser reads every input in time that is linear but for a logarithm.
template <typename Read>
void expectLinearTime(const std::vector<Construct>& constructs, Read read) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's own work takes other times";
#endif
  constexpr double kMost = 2.3;
  for (const Construct& construct : constructs) {
    EXPECT_LE(growthPerDoubling(construct, read, kMost), kMost)
        << construct.begin.substr(0, 200) << construct.piece << construct.end;
  }
}

}  // namespace orx::testing
