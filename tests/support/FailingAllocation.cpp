#include "support/FailingAllocation.h"

#include <cstdint>
#include <cstdlib>

namespace {

constexpr std::uint64_t never = UINT64_MAX;
constinit thread_local std::uint64_t left = never;

}  // namespace

void* operator new(std::size_t size) {
  if (left != never && left-- == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace orx::testing {

FailingAllocation::FailingAllocation(std::size_t number) { left = number; }
FailingAllocation::~FailingAllocation() { left = never; }

// Past zero it has become `never`.
bool FailingAllocation::hasFailed() { return left == never; }

}  // namespace orx::testing
