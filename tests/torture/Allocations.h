// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Which allocation of this process fails. Every library's malloc() and the like reach the functions
// of Allocations.cpp, so that the vendors' allocations are counted as well.
namespace orx::torture {

struct AllocationPlan {
  std::int64_t at = 0;     // the number of the one that fails; the first is 1
  bool forEver = false;    // all that come after it fail too
  bool onlyOfCxx = false;  // counts those of operator new alone, which are the library's own
};

// Counts the allocations of all threads from now on, but for those of a Spared.
void beginAllocations(const AllocationPlan& plan);
// From now on none fails. Returns how many were counted.
std::int64_t endAllocations() noexcept;
std::int64_t countedAllocations() noexcept;

// While it lives, this thread's allocations are neither counted nor made to fail.
class Spared {
 public:
  Spared();
  Spared(const Spared&) = delete;
  Spared& operator=(const Spared&) = delete;
  ~Spared();
};

struct Frames {
  std::array<void*, 48> addresses{};
  int count = 0;
};

// To be called once before frames are taken in a signal handler: the first look at them allocates.
void prepareFrames();
Frames framesHere() noexcept;
// Notes where the first allocation or call fails; others are not noted.
void noteFailure() noexcept;
// Empty when none has failed.
const Frames& framesOfFailure() noexcept;

}  // namespace orx::torture
