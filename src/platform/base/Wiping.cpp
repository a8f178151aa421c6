// SPDX-License-Identifier: MIT
#include "platform/base/Wiping.h"

#include <malloc.h>
#include <string.h>

#include <algorithm>
#include <cstdlib>

namespace orx::platform {
namespace {

// Of a request's head with a short body.
constexpr std::size_t usualFirstSize = 1024;

}  // namespace

void wipe(void* memory, std::size_t size) noexcept {
  if (size > 0) explicit_bzero(memory, size);
}

void freeWiping(void* memory) noexcept {
  wipe(memory, malloc_usable_size(memory));
  std::free(memory);
}

// realloc() itself would leave a copy where the memory was.
void* reallocWiping(void* memory, std::size_t size) noexcept {
  const std::size_t before = malloc_usable_size(memory);
  if (memory != nullptr && size <= before) return memory;
  // What begins small mostly grows, and each time would be copied and wiped.
  void* larger = std::malloc(std::max(size, memory == nullptr ? usualFirstSize : 0));
  if (larger == nullptr || memory == nullptr) return larger;
  memcpy(larger, memory, before);
  freeWiping(memory);
  return larger;
}

}  // namespace orx::platform
