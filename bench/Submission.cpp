// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <latch>
#include <mutex>
#include <thread>

#include "BenchServer.h"
#include "LibraryCalls.h"
#include "Measure.h"
#include "Scenarios.h"

namespace orx::bench {
namespace {

struct Burst {
  std::vector<double> submit;  // microseconds for each call
  double wall = 0;             // microseconds from the first one's start to the last one's end
};

// `threads` threads start calls together, each as fast as it can.
Burst burst(std::size_t threads, std::size_t calls) {
  const auto start = commonCall();
  Outstanding outstanding;
  std::mutex mutex;
  Burst result;
  std::latch ready(static_cast<std::ptrdiff_t>(threads) + 1);
  auto begin = Clock::time_point::max();
  auto end = Clock::time_point::min();
  {
    std::vector<std::jthread> starters;
    starters.reserve(threads);
    for (std::size_t index = 0; index < threads; ++index) {
      starters.emplace_back([&] {
        std::vector<double> times;
        times.reserve(calls / threads);
        // Every thread waits here until all exist: creating them is not measured.
        ready.arrive_and_wait();
        const auto first = Clock::now();
        for (std::size_t call = 0; call < calls / threads; ++call) {
          outstanding.add();
          const auto before = Clock::now();
          start([&outstanding](const auto&, const auto&) { outstanding.remove(); });
          times.push_back(microsecondsSince(before));
        }
        const auto last = Clock::now();
        const std::lock_guard lock(mutex);
        begin = std::min(begin, first);
        end = std::max(end, last);
        result.submit.insert(result.submit.end(), times.begin(), times.end());
      });
    }
    ready.arrive_and_wait();
  }
  result.wall = std::chrono::duration<double, std::micro>(end - begin).count();
  outstanding.waitForAll();
  return result;
}

}  // namespace

void submitCalls(const Settings& settings) {
  const long rounds = settings.number("rounds", 15);
  const auto calls = static_cast<std::size_t>(settings.number("calls", 800));
  const BenchServer server;
  burst(1, calls);
  for (long round = 0; round < rounds; ++round) {
    for (const std::size_t threads : {1U, 8U}) {
      const Burst one = burst(threads, calls);
      std::printf("{\"threads\":%zu,\"p50\":%.2f,\"p99\":%.2f,\"perCall\":%.2f}\n", threads,
                  percentile(one.submit, 0.5), percentile(one.submit, 0.99),
                  one.wall / static_cast<double>(calls));
    }
  }
}

}  // namespace orx::bench
