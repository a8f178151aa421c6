// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "BenchServer.h"
#include "LibraryCalls.h"
#include "Measure.h"
#include "Scenarios.h"
#include "SlowServer.h"

namespace orx::bench {
namespace {

// The highest values while many calls were in flight.
struct Peak {
  std::size_t residentKiB = 0;
  std::size_t threads = 0;
  std::size_t waiting = 0;

  void look(std::size_t callsWaiting) {
    residentKiB = std::max(residentKiB, bench::residentKiB());
    threads = std::max(threads, threadCount());
    waiting = std::max(waiting, callsWaiting);
  }
};

}  // namespace

void holdCalls(const Settings& settings) {
  const auto calls = static_cast<std::size_t>(settings.number("calls", 2000));
  const SlowServer server(ORX_BENCH_HOST, soapAnswer(),
                          std::chrono::milliseconds(settings.number("delay", 5000)));
  URLSessionConfiguration configuration;
  configuration.setCaFile(server.caFile());
  configuration.setProxy("");
  configuration.setConnectTo(ORX_BENCH_HOST, {"127.0.0.1", server.port()});
  URLSessionConfiguration::setDefaultConfiguration(configuration);

  const auto start = commonCall();
  makeLibraryCalls(start, 1, 1);
  const std::size_t before = residentKiB();
  std::atomic<std::size_t> errors{0};
  std::atomic<std::size_t> ended{0};
  std::vector<double> submit;
  submit.reserve(calls);
  const auto begin = Clock::now();
  const double processorBefore = processorTime();
  for (std::size_t call = 0; call < calls; ++call) {
    const auto moment = Clock::now();
    start([&](const auto& result, const auto&) {
      if (!result) ++errors;
      ++ended;
    });
    submit.push_back(microsecondsSince(moment));
  }
  Peak peak;
  while (ended < calls) {
    peak.look(calls - ended);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  const auto count = static_cast<double>(calls);
  std::printf(
      "{\"calls\":%zu,\"errors\":%zu,\"threads\":%zu,\"KiBPerCall\":%.1f,\"submitP50\":%.2f,"
      "\"submitP99\":%.2f,\"seconds\":%.1f,\"cpu\":%.1f}\n",
      calls, errors.load(), peak.threads,
      static_cast<double>(peak.residentKiB - std::min(before, peak.residentKiB)) / count,
      percentile(submit, 0.5), percentile(submit, 0.99), microsecondsSince(begin) / 1e6,
      (processorTime() - processorBefore) / count);
}

}  // namespace orx::bench
