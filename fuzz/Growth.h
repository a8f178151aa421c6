// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// Fails when the work for one input takes more memory in all, freed or not, than grows with the
// input's length: what copies the rest again and again takes its square. Where no sanitizer counts
// allocations, nothing is checked.
class GrowthCheck {
 public:
  explicit GrowthCheck(std::size_t inputSize);
  GrowthCheck(const GrowthCheck&) = delete;
  GrowthCheck& operator=(const GrowthCheck&) = delete;
  ~GrowthCheck();

  // For a target that takes as much for any input, however short, as one that hashes passwords.
  static void allow(std::size_t bytesForAnyInput);

 private:
  const std::size_t inputSize_;
};
