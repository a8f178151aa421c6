// SPDX-License-Identifier: MIT
#include <chrono>
#include <cstdio>
#include <thread>

#include "BenchServer.h"
#include "LibraryCalls.h"
#include "Measure.h"
#include "Scenarios.h"

namespace orx::bench {

void endure(const Settings& settings) {
  const auto calls = static_cast<std::size_t>(settings.number("calls", 50'000));
  const BenchServer server;
  const auto start = commonCall();
  constexpr std::size_t inFlight = 32;
  constexpr std::size_t steps = 10;
  for (std::size_t step = 0; step < steps; ++step) {
    makeLibraryCalls(start, inFlight, calls / steps);
    std::printf("{\"calls\":%zu,\"residentKiB\":%zu,\"descriptors\":%zu,\"threads\":%zu}\n",
                (step + 1) * (calls / steps), residentKiB(), descriptorCount(), threadCount());
    std::fflush(stdout);
  }
}

void idle(const Settings& settings) {
  const BenchServer server;
  makeLibraryCalls(commonCall(), 64, 2000);
  // Wait until the extra workers have retired; their wake-ups would count as the idle library's.
  std::this_thread::sleep_for(std::chrono::seconds(settings.number("settle", 8)));
  const std::size_t switchesBefore = contextSwitchesOfOthers();
  const double processorBefore = processorTime();
  std::this_thread::sleep_for(std::chrono::seconds(settings.number("seconds", 2)));
  std::printf("{\"contextSwitches\":%zu,\"cpu\":%.0f,\"threads\":%zu}\n",
              contextSwitchesOfOthers() - switchesBefore, processorTime() - processorBefore,
              threadCount());
}

}  // namespace orx::bench
