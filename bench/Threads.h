// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace orx::bench {

// Makes `calls` calls from `inFlight` threads that live for the whole run; `call` is handed its
// thread's number. Returns each call's time in microseconds; throws what a call throws.
std::vector<double> onKeptThreads(std::size_t inFlight, std::size_t calls,
                                  const std::function<void(std::size_t thread)>& call);

// The same with a new thread for each call.
std::vector<double> onThreadsOfTheirOwn(std::size_t inFlight, std::size_t calls,
                                        const std::function<void()>& call);

}  // namespace orx::bench
