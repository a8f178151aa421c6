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
  double wall = 0;             // until all were submitted
};

// So many calls started at once by so many threads, each as fast as it can.
Burst burst(std::size_t threads, std::size_t calls) {
  const auto start = commonCall();
  Outstanding outstanding;
  std::mutex mutex;
  Burst result;
  std::latch ready(static_cast<std::ptrdiff_t>(threads) + 1);
  Clock::time_point begin;
  {
    std::vector<std::jthread> starters;
    starters.reserve(threads);
    for (std::size_t index = 0; index < threads; ++index) {
      starters.emplace_back([&] {
        std::vector<double> times;
        times.reserve(calls / threads);
        ready.arrive_and_wait();
        for (std::size_t call = 0; call < calls / threads; ++call) {
          outstanding.add();
          const auto before = Clock::now();
          start([&outstanding](const auto&, const auto&) { outstanding.remove(); });
          times.push_back(microsecondsSince(before));
        }
        const std::lock_guard lock(mutex);
        result.submit.insert(result.submit.end(), times.begin(), times.end());
      });
    }
    // Making threads is not what is measured.
    ready.arrive_and_wait();
    begin = Clock::now();
  }
  result.wall = microsecondsSince(begin);
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
