// SPDX-License-Identifier: MIT
#include "platform/base/Wiping.h"

#include <malloc.h>
#include <string.h>

#include <cstdlib>

namespace orx::platform {

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
  void* larger = std::malloc(size);
  if (larger == nullptr || memory == nullptr) return larger;
  memcpy(larger, memory, before);
  freeWiping(memory);
  return larger;
}

}  // namespace orx::platform
