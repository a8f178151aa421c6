#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/ProcessorTime.h"

namespace orx::testing {

// A kind of input, of about any number of bytes: `begin`, then pieces until it is long enough, each
// made out of its number, then `end`.
struct Construct {
  std::string begin;
  std::function<std::string(std::size_t number)> piece;
  std::string end;
  // Where a part with its own end is needed for each piece: it follows in turned order.
  std::string endOfPiece;

  std::string ofSize(std::size_t size) const {
    std::string text = begin;
    std::size_t number = 0;
    while (text.size() < size) text += piece(number++);
    for (; !endOfPiece.empty() && number > 0; --number) text += endOfPiece;
    return text + end;
  }
};

inline Construct repeated(std::string begin, std::string piece, std::string end = {},
                          std::string endOfPiece = {}) {
  return {std::move(begin), [piece = std::move(piece)](std::size_t) { return piece; },
          std::move(end), std::move(endOfPiece)};
}

// In each piece "@" stands for its number.
inline Construct numbered(std::string begin, std::string piece, std::string end = {}) {
  const auto numberedPiece = [piece = std::move(piece)](std::size_t number) {
    std::string text;
    for (const char character : piece) {
      if (character == '@') {
        text += std::to_string(number);
      } else {
        text += character;
      }
    }
    return text;
  };
  return {std::move(begin), numberedPiece, std::move(end), {}};
}

// The factor by which the processor time of `read` grows when its input gets twice as long: 2 when
// it is linear, 4 when it is quadratic. The mean of four doublings, begun where one reading takes
// long enough to be measured; what other load on the machine adds to a measurement can only be
// removed by measuring again, so a growth that is too large is measured several times.
template <typename Read>
double growthPerDoubling(const Construct& construct, Read read, double largest) {
  constexpr std::chrono::microseconds kMeasurable{300};
  constexpr std::size_t kLargestBegin = std::size_t{1} << 17U;
  constexpr int kDoublings = 4;
  const auto timeOf = [&](const std::string& text) {
    return leastProcessorTime([&] { read(text); });
  };
  std::size_t size = std::size_t{1} << 11U;
  std::string small = construct.ofSize(size);
  auto smallTime = timeOf(small);
  while (smallTime < kMeasurable && size < kLargestBegin) {
    size *= 2;
    small = construct.ofSize(size);
    smallTime = timeOf(small);
  }
  const std::string large = construct.ofSize(size << kDoublings);
  auto largeTime = timeOf(large);
  const auto growth = [&] {
    const std::chrono::duration<double> before =
        std::max<std::chrono::nanoseconds>(smallTime, kMeasurable / 10);
    return std::pow(largeTime / before, 1.0 / kDoublings);
  };
  for (int again = 0; again < 5 && growth() > largest; ++again) {
    largeTime = std::min(largeTime, timeOf(large));
    smallTime = std::max(smallTime, timeOf(small));
  }
  return growth();
}

// Every parser reads every input in time that is linear but for a logarithm.
template <typename Read>
void expectLinearTime(const std::vector<Construct>& constructs, Read read) {
  constexpr double kLargest = 2.3;
  for (const Construct& construct : constructs) {
    const double growth = growthPerDoubling(construct, read, kLargest);
    if (getenv("ORX_G")) printf("GROWTH %.2f %s\n", growth, (construct.begin + construct.piece(0)).substr(0, 60).c_str());
    EXPECT_LE(growth, kLargest)
        << construct.begin << construct.piece(0) << construct.end;
  }
}

}  // namespace orx::testing
