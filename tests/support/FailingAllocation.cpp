#include "support/FailingAllocation.h"

#include <cstdlib>
#include <limits>

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// Allocations that are still to succeed before one fails.
constinit thread_local std::size_t untilFailure = kNone;

}  // namespace

// Replaces the language's own in every program that fails allocations; the other forms call it.
void* operator new(std::size_t size) {
  if (untilFailure != kNone && untilFailure-- == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace orx::testing {

// Counting down from 0 leads to kNone: what comes after the failure succeeds.
FailingAllocation::FailingAllocation(std::size_t number) { untilFailure = number; }

FailingAllocation::~FailingAllocation() { untilFailure = kNone; }

bool FailingAllocation::hasFailed() const { return untilFailure == kNone; }

}  // namespace orx::testing
