// SPDX-License-Identifier: MIT
#include "Growth.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*allocated)(const volatile void*, std::size_t), void (*freed)(const volatile void*));

namespace {

using Clock = std::chrono::steady_clock;
using Nanoseconds = std::chrono::nanoseconds;

#ifdef ORX_FUZZ_CHECK_TIME
constexpr bool checksTime = true;
#else
constexpr bool checksTime = false;
#endif

std::size_t bytesForAnyInput = std::size_t{4} << 20;
constexpr std::size_t bytesForAByte = 2048;
constexpr Nanoseconds timeForAnyInput = std::chrono::milliseconds(20);
constexpr Nanoseconds timeForAByte = std::chrono::microseconds(20);

std::atomic<std::size_t> allocated = 0;
// The first two inputs pay for what is made once in a process: where they are libFuzzer's, the
// first is an empty one.
constexpr std::size_t inputsThatPay = 2;
std::size_t inputs = 0;

void count(const volatile void*, std::size_t size) { allocated += size; }
void ignore(const volatile void*) {}

[[noreturn]] void fail(std::size_t used, const char* what, std::size_t inputSize) {
  std::fprintf(stderr, "%zu %s for an input of %zu\n", used, what, inputSize);
  std::abort();
}

// The processor's, of all threads of this process.
Nanoseconds processorTime() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + Nanoseconds(time.tv_nsec);
}

// The least of some runs, since the machine may be busy with something else in one of them.
Nanoseconds timeTaken(const std::function<void()>& work) {
  auto least = Nanoseconds::max();
  for (int run = 0; run < 3; ++run) {
    const auto begin = processorTime();
    work();
    least = std::min(least, processorTime() - begin);
  }
  return least;
}

}  // namespace

void allowForAnyInput(std::size_t bytes) { bytesForAnyInput = bytes; }

void checkGrowth(std::size_t inputSize, const std::function<void()>& work) {
  static const bool shows = std::getenv("ORX_FUZZ_SHOW_GROWTH") != nullptr;
  static const bool counts = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                             __sanitizer_install_malloc_and_free_hooks(count, ignore) != 0;
  (void)counts;
  allocated = 0;
  const auto begin = Clock::now();
  work();
  const Nanoseconds took = Clock::now() - begin;
  const std::size_t bytes = allocated;
  if (shows) {
    std::fprintf(stderr, "growth: %zu %zu %lld\n", inputSize, bytes,
                 static_cast<long long>(took.count()));
  }
  if (++inputs <= inputsThatPay) return;
  if (bytes > bytesForAnyInput + bytesForAByte * inputSize) {
    fail(bytes, "bytes were allocated", inputSize);
  }
  const auto allowed = timeForAnyInput + timeForAByte * static_cast<std::int64_t>(inputSize);
  if (!checksTime || took <= allowed) return;
  const auto least = timeTaken(work);
  if (least > allowed) {
    fail(static_cast<std::size_t>(least.count()), "nanoseconds of the processor", inputSize);
  }
}
