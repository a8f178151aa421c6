// SPDX-License-Identifier: MIT
#include "Measure.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace orx::bench {
namespace {

double microseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

// The number after a name in a file of /proc.
std::size_t statusField(const std::filesystem::path& file, const std::string& name) {
  std::ifstream status(file);
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ':')) return std::stoul(line.substr(name.size() + 1));
  }
  return 0;
}

std::size_t entriesOf(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

double processorTime() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

std::size_t residentKiB() { return statusField("/proc/self/status", "VmRSS"); }

std::size_t threadCount() { return entriesOf("/proc/self/task"); }

// Minus one: the iterator over the directory holds a descriptor itself.
std::size_t descriptorCount() { return entriesOf("/proc/self/fd") - 1; }

std::size_t contextSwitchesOfOthers() {
  const auto self = std::to_string(gettid());
  std::size_t sum = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == self) continue;
    sum += statusField(task.path() / "status", "voluntary_ctxt_switches");
    sum += statusField(task.path() / "status", "nonvoluntary_ctxt_switches");
  }
  return sum;
}

double percentile(std::vector<double> samples, double share) {
  if (samples.empty()) return 0;
  const auto last = static_cast<double>(samples.size() - 1);
  const auto place = samples.begin() + std::lround(share * last);
  std::nth_element(samples.begin(), place, samples.end());
  return *place;
}

void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace orx::bench
