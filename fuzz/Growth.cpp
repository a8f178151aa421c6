// SPDX-License-Identifier: MIT
#include "Growth.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*allocated)(const volatile void*, std::size_t), void (*freed)(const volatile void*));

namespace {

using Nanoseconds = std::chrono::nanoseconds;

#ifdef ORX_FUZZ_CHECK_TIME
constexpr bool checksTime = true;
#else
constexpr bool checksTime = false;
#endif

std::size_t bytesForAnyInput = std::size_t{4} << 20;
constexpr std::size_t bytesForAByte = 2048;
constexpr Nanoseconds timeForAnyInput = std::chrono::milliseconds(50);

// Of stretched inputs, each four times as long as the one before: work that is linear takes 4 times
// as much, and 16 times when it is quadratic.
constexpr std::array stretchedSizes{std::size_t{16} << 10, std::size_t{64} << 10,
                                    std::size_t{256} << 10};
constexpr int mostGrowth = 8;
// After which no longer one is tried.
constexpr Nanoseconds longTime = std::chrono::milliseconds(100);
// Stretched inputs get this part of the time, so that most inputs are still new ones.
constexpr int partForStretched = 10;

bool stretches = true;

std::atomic<std::size_t> allocated = 0;

void count(const volatile void*, std::size_t size) { allocated += size; }
void ignore(const volatile void*) {}

struct Usage {
  std::size_t bytes;
  Nanoseconds time;
};

// The processor's time, of all threads of this process.
Nanoseconds processorTime() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + Nanoseconds(time.tv_nsec);
}

Usage usageOf(std::string_view input, void (*work)(std::string_view)) {
  allocated = 0;
  const auto begin = processorTime();
  work(input);
  return {allocated, processorTime() - begin};
}

// Done again while it takes too much: the first run pays for what is made once in a process, and
// the machine may be busy in another.
template <typename TooMuch>
Usage check(std::string_view input, void (*work)(std::string_view), TooMuch isTooMuch) {
  Usage least = usageOf(input, work);
  for (int run = 0; run < 5 && isTooMuch(least); ++run) {
    const Usage usage = usageOf(input, work);
    least = {std::min(least.bytes, usage.bytes), std::min(least.time, usage.time)};
  }
  if (!isTooMuch(least)) return least;
  std::fprintf(stderr, "%zu bytes of input take %zu bytes of memory and %lld ns: %.200s\n",
               input.size(), least.bytes, static_cast<long long>(least.time.count()),
               std::string(input.substr(0, 200)).c_str());
  std::abort();
}

// The input with a piece of it, any but always the same one, repeated up to the size.
std::string stretched(std::string_view input, std::size_t size) {
  std::minstd_rand random(std::hash<std::string_view>()(input));
  const std::size_t begin = random() % input.size();
  const std::size_t length = 1 + random() % (input.size() - begin);
  std::string text(input.substr(0, begin));
  while (text.size() < size) text += input.substr(begin, length);
  return text += input.substr(begin + length);
}

void checkStretched(std::string_view input, void (*work)(std::string_view)) {
  std::string before = stretched(input, stretchedSizes.front() / 4);
  for (const std::size_t size : stretchedSizes) {
    std::string text = stretched(input, size);
    const Usage usage = check(text, work, [&](const Usage& now) {
      if (now.bytes <= bytesForAnyInput && now.time <= timeForAnyInput) return false;
      const Usage less = usageOf(before, work);
      return now.bytes > bytesForAnyInput + mostGrowth * less.bytes ||
             (checksTime && now.time > timeForAnyInput + mostGrowth * less.time);
    });
    if (usage.time > longTime) return;
    before = std::move(text);
  }
}

}  // namespace

void allowForAnyInput(std::size_t bytes) { bytesForAnyInput = bytes; }

void leaveInputsShort() { stretches = false; }

void checkGrowth(std::string_view input, void (*work)(std::string_view input)) {
  static const bool counts = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                             __sanitizer_install_malloc_and_free_hooks(count, ignore) != 0;
  check(input, work, [&](const Usage& usage) {
    return usage.bytes > bytesForAnyInput + bytesForAByte * input.size();
  });
  if (!stretches || input.empty() || !(counts || checksTime)) return;
  static const bool stretchesAll = std::getenv("ORX_FUZZ_STRETCH_ALL") != nullptr;
  static Nanoseconds spent{};
  if (!stretchesAll && spent * partForStretched > processorTime()) return;
  const auto begin = processorTime();
  checkStretched(input, work);
  spent += processorTime() - begin;
}
