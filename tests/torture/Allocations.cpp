// SPDX-License-Identifier: MIT
#include "torture/Allocations.h"

#include <errno.h>
#include <execinfo.h>
#include <stdlib.h>

#include <atomic>
#include <new>

// The C library's own, which the functions below stand before.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(size_t size) noexcept;
void* __libc_calloc(size_t count, size_t size) noexcept;
void* __libc_realloc(void* memory, size_t size) noexcept;
void* __libc_memalign(size_t alignment, size_t size) noexcept;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace orx::torture {

namespace {

constinit AllocationPlan plan;
constinit std::atomic<bool> counting = false;
constinit std::atomic<std::int64_t> counted = 0;
constinit std::atomic<bool> hasFailed = false;
constinit thread_local int spared = 0;
constinit Frames failure;

bool fails(bool isOfCxx) noexcept {
  if (!counting || spared != 0 || (plan.onlyOfCxx && !isOfCxx)) return false;
  const auto number = ++counted;
  if (plan.at == 0 || number < plan.at || (number > plan.at && !plan.forEver)) return false;
  noteFailure();
  errno = ENOMEM;
  return true;
}

}  // namespace

void beginAllocations(const AllocationPlan& newPlan) {
  plan = newPlan;
  counted = 0;
  counting = true;
}

std::int64_t endAllocations() noexcept {
  counting = false;
  return counted;
}

std::int64_t countedAllocations() noexcept { return counted; }

Spared::Spared() { ++spared; }
Spared::~Spared() { --spared; }

Frames framesHere() noexcept {
  Frames frames;
  frames.count = backtrace(frames.addresses.data(), static_cast<int>(frames.addresses.size()));
  return frames;
}

void prepareFrames() { framesHere(); }

void noteFailure() noexcept {
  if (hasFailed.exchange(true)) return;
  const Spared here;
  failure = framesHere();
}

const Frames& framesOfFailure() noexcept { return failure; }

}  // namespace orx::torture

// The sanitizers have functions of their own in the place of these, and call them before anything
// of this program may run.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
using orx::torture::fails;

extern "C" {

void* malloc(size_t size) noexcept { return fails(false) ? nullptr : __libc_malloc(size); }

void* calloc(size_t count, size_t size) noexcept {
  return fails(false) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) noexcept {
  return fails(false) ? nullptr : __libc_realloc(memory, size);
}

void* memalign(size_t alignment, size_t size) noexcept {
  return fails(false) ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, size_t alignment, size_t size) noexcept {
  void* const made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *memory = made;
  return 0;
}

}  // extern "C"

// The other forms call it.
void* operator new(std::size_t size) {
  void* const memory = fails(true) ? nullptr : __libc_malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { free(memory); }
void operator delete(void* memory, std::size_t) noexcept { free(memory); }
#endif
