#include "allocations/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

constinit thread_local std::size_t left = 0;  // 0: none fails
constinit thread_local bool failsFromThereOn = false;
constinit thread_local bool failed = false;

bool mustFail() {
  if (left == 0) return false;
  if (left > 1) {
    --left;
    return false;
  }
  if (!failsFromThereOn) left = 0;
  failed = true;
  return true;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const place = mustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (place == nullptr) throw std::bad_alloc();
  return place;
}

void operator delete(void* place) noexcept { std::free(place); }
void operator delete(void* place, std::size_t) noexcept { std::free(place); }

namespace orx::testing {

FailingAllocations::FailingAllocations(std::size_t number, Shortage shortage) {
  failed = false;
  failsFromThereOn = shortage == Shortage::FromThereOn;
  left = number;
}

FailingAllocations::~FailingAllocations() { left = 0; }

bool FailingAllocations::hasFailed() { return failed; }

}  // namespace orx::testing
