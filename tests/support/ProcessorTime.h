#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>

namespace orx::testing {

// The least processor time that this thread needed for `work` in several runs: what is left of
// other load on the machine is small enough for comparing one amount of work with eight times as
// much.
template <typename Work>
std::chrono::nanoseconds leastProcessorTime(Work work) {
  const auto used = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  };
  auto least = std::chrono::nanoseconds::max();
  for (int run = 0; run < 4; ++run) {
    const auto before = used();
    work();
    least = std::min(least, std::chrono::nanoseconds(used() - before));
  }
  return least;
}

}  // namespace orx::testing
