// SPDX-License-Identifier: MIT
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "BenchServer.h"
#include "Measure.h"
#include "Scenarios.h"

namespace orx::bench {
namespace {

struct Entry {
  std::string name;
  std::unique_ptr<Contestant> contestant;
  // Roughly how many times slower than the fastest contestant; a round makes that many times fewer
  // calls.
  std::size_t cost;
};

std::vector<Entry> entriesFor(const Work& work) {
  std::vector<Entry> entries;
  entries.push_back({"curl_multi, kept", keptCurlHandles(work), 1});
  entries.push_back({"curl_multi over epoll, kept", keptCurlHandlesOverEpoll(work), 1});
  entries.push_back({"orx common", commonCalls(), 1});
  entries.push_back({"orx login", logins(), 1});
  entries.push_back({"Boost.Beast, kept", keptBeastStreams(work), 1});
  entries.push_back({"cpp-httplib, kept", keptHttplibClients(work), 1});
  entries.push_back({"cpp-httplib, fresh", freshHttplibClients(work), 20});
  entries.push_back({"curl handle a call", freshCurlHandles(work, work.caFile), 20});
  entries.push_back(
      {"curl handle a call, CA bundle", freshCurlHandles(work, work.bundleFile), 400});
  return entries;
}

// Enough calls for a steady state; few for costly contestants, whose rounds would take hours.
std::size_t callsOf(const Entry& entry, std::size_t inFlight, std::size_t calls) {
  return std::max({calls / entry.cost, inFlight, std::size_t{8}});
}

void measure(Entry& entry, std::size_t inFlight, std::size_t calls, long round) {
  const double processorBefore = processorTime();
  const auto begin = Clock::now();
  const std::vector<double> times = entry.contestant->run(inFlight, calls);
  const double wall = microsecondsSince(begin);
  const double processor = processorTime() - processorBefore;
  const auto count = static_cast<double>(calls);
  std::printf(
      "{\"contestant\":\"%s\",\"inFlight\":%zu,\"round\":%ld,\"calls\":%zu,\"cpu\":%.2f,"
      "\"p50\":%.2f,\"p99\":%.2f,\"perSecond\":%.0f}\n",
      entry.name.c_str(), inFlight, round, calls, processor / count, percentile(times, 0.5),
      percentile(times, 0.99), count * 1e6 / wall);
  std::fflush(stdout);
}

// Keeps this thread, and what it starts from now on, to the processors from `first` up to `end`.
void keepToProcessors(unsigned first, unsigned end) {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  for (unsigned index = first; index < end; ++index) CPU_SET(index, &processors);
  sched_setaffinity(0, sizeof processors, &processors);
}

bool isWanted(const Entry& entry, const std::string& only) {
  return only.empty() || entry.name.find(only) != std::string::npos;
}

}  // namespace

void compareContestants(const Settings& settings) {
  const long rounds = settings.number("rounds", 9);
  const auto calls = static_cast<std::size_t>(settings.number("calls", 4000));
  const long onlyInFlight = settings.number("inflight", 0);
  const std::string only = settings.text("only");
  // The server gets the second half of the processors, the contestants the first. Left to the
  // scheduler, a wake-up crosses from one processor to another in some rounds and not in others,
  // which doubles any contestant's time.
  const unsigned processors = std::thread::hardware_concurrency();
  const bool apart = processors > 1 && settings.number("apart", 1) != 0;
  if (apart) keepToProcessors(processors / 2, processors);
  const BenchServer server;
  if (apart) keepToProcessors(0, processors / 2);
  auto entries = entriesFor(server.work());
  std::erase_if(entries, [&](const Entry& entry) { return !isWanted(entry, only); });

  for (const std::size_t inFlight : {1U, 16U, 256U}) {
    if (onlyInFlight != 0 && inFlight != static_cast<std::size_t>(onlyInFlight)) continue;
    for (auto& entry : entries) entry.contestant->run(inFlight, std::max<std::size_t>(inFlight, 8));
    for (long round = 0; round < rounds; ++round) {
      // Each round starts with another contestant, so that the order favours none.
      std::rotate(entries.begin(), entries.begin() + 1, entries.end());
      for (auto& entry : entries) {
        // Each call parses the whole CA bundle, however many calls are in flight, so further rounds
        // would only take time.
        if (entry.cost > 100 && inFlight > 16 && round > 0) continue;
        measure(entry, inFlight, callsOf(entry, inFlight, calls), round);
      }
    }
  }
}

void growByCalls(const Settings& settings) {
  const long rounds = settings.number("rounds", 9);
  const auto calls = static_cast<std::size_t>(settings.number("calls", 4000));
  const BenchServer server;
  const auto library = commonCalls();
  library->run(16, 16);
  const auto time = [&](std::size_t count) {
    const double before = processorTime();
    library->run(16, count);
    return processorTime() - before;
  };
  for (long round = 0; round < rounds; ++round) {
    const double some = time(calls);
    std::printf("{\"some\":%.0f,\"twice\":%.0f}\n", some, time(2 * calls));
  }
}

}  // namespace orx::bench
