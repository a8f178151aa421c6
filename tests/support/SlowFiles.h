// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

namespace orx::testing {

// Runs `work` on a new thread with slow files, as on a network file system: each openat, read,
// write, flock and fsync waits for `delay` first, and a signal during that wait ends the call with
// EINTR. Threads that `work` starts are slowed as well. Returns when `work` has; an exception from
// `work` ends the process.
void withSlowFiles(std::chrono::milliseconds delay, const std::function<void()>& work);

}  // namespace orx::testing
