// SPDX-License-Identifier: MIT
#include "allocations/FailingAllocation.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// Allocations that are still to succeed before one fails.
constinit thread_local std::size_t left = kNone;
constinit thread_local bool failsFromThereOn = false;
constinit thread_local bool failed = false;

bool mustFail() {
  if (left == kNone || left-- != 0) return false;
  // Counting down from 0 led to kNone.
  if (failsFromThereOn) left = 0;
  failed = true;
  return true;
}

}  // namespace

// These replace the language's own in every program that links them; the other forms call them.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return mustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace orx::testing {

FailingAllocation::FailingAllocation(std::size_t number, Shortage shortage) {
  failed = false;
  failsFromThereOn = shortage == Shortage::FromThereOn;
  left = number;
}

FailingAllocation::~FailingAllocation() { left = kNone; }

bool FailingAllocation::hasFailed() { return failed; }

}  // namespace orx::testing
