#pragma once

#include <chrono>
#include <functional>

namespace orx::testing {

// Runs `work` on a thread for which files are as slow as on a distant file server, and as easy to
// interrupt: each opening, reading, writing, locking and synchronising takes `delay`, during which
// a signal ends it with EINTR before it has begun. Threads that `work` starts are slowed down as
// well. Returns when `work` has; what it throws ends the process.
void withSlowFiles(std::chrono::milliseconds delay, const std::function<void()>& work);

}  // namespace orx::testing
