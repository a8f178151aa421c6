// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace orx::bench {

using Clock = std::chrono::steady_clock;

inline double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// Processor time of this whole process so far, user and system, in microseconds.
double processorTime();

// Resident memory of this process in KiB.
std::size_t residentKiB();
std::size_t threadCount();
std::size_t descriptorCount();
// The context switches, voluntary or not, of all other threads since each began.
std::size_t contextSwitchesOfOthers();

// The value below which the given share of the samples lies (0 to 1); 0 without samples.
double percentile(std::vector<double> samples, double share);
inline double median(std::vector<double> samples) { return percentile(std::move(samples), 0.5); }

// Lets the process open as many descriptors as the system allows it.
void raiseDescriptorLimit();

}  // namespace orx::bench
