// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>

namespace orx::testing {

// The least processor time of this thread for `work` over several runs. A single run would be too
// noisy on a busy machine; the minimum is steady enough to compare one amount of work with eight
// times as much.
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
