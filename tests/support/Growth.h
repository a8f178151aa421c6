#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
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
// it is linear, 4 when it is quadratic. It is the mean of three doublings, begun where one reading
// takes just long enough to be measured: longer ones would measure the caches. Both ends are
// measured close to each other, so that other load on the machine weighs on both; where it did not,
// the growth seems to be more than `most`, and is measured again.
template <typename Read>
double growthPerDoubling(const Construct& construct, Read read, double most) {
  constexpr std::chrono::microseconds kMeasurable{100};
  constexpr std::size_t kLargestBegin = std::size_t{1} << 17U;
  constexpr int kDoublings = 3;
  constexpr int kRounds = 8;
  const auto timeOf = [&](const std::string& text) {
    const auto time = leastProcessorTime([&] { read(text); });
    return std::max<std::chrono::duration<double>>(time, kMeasurable / 10);
  };
  std::size_t size = std::max(std::size_t{1} << 10U, 8 * construct.begin.size());
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
  constexpr double kMost = 2.3;
  for (const Construct& construct : constructs) {
    EXPECT_LE(growthPerDoubling(construct, read, kMost), kMost)
        << construct.begin << construct.piece(0) << construct.end;
  }
}

}  // namespace orx::testing
