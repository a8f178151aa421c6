// SPDX-License-Identifier: MIT
#include "Growth.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*allocated)(const volatile void*, std::size_t), void (*freed)(const volatile void*));

namespace {

std::size_t bytesForAnyInput = std::size_t{4} << 20;
constexpr std::size_t bytesForAByte = 2048;

std::atomic<std::size_t> allocated = 0;
// The first two inputs pay for what is made once in a process: where they are libFuzzer's, the
// first is an empty one.
constexpr std::size_t inputsThatPay = 2;
std::size_t inputs = 0;

void count(const volatile void*, std::size_t size) { allocated += size; }
void ignore(const volatile void*) {}

}  // namespace

GrowthCheck::GrowthCheck(std::size_t inputSize) : inputSize_(inputSize) {
  static const bool counts = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                             __sanitizer_install_malloc_and_free_hooks(count, ignore) != 0;
  (void)counts;
  allocated = 0;
  ++inputs;
}

void GrowthCheck::allow(std::size_t bytes) { bytesForAnyInput = bytes; }

GrowthCheck::~GrowthCheck() {
  static const bool shows = std::getenv("ORX_FUZZ_SHOW_GROWTH") != nullptr;
  if (shows) std::fprintf(stderr, "growth: %zu %zu\n", inputSize_, allocated.load());
  const std::size_t allowed = bytesForAnyInput + bytesForAByte * inputSize_;
  if (inputs <= inputsThatPay || allocated <= allowed) return;
  std::fprintf(stderr, "%zu bytes were allocated for an input of %zu\n", allocated.load(),
               inputSize_);
  std::abort();
}
