// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

namespace orx::testing {

// Whether limitThreads() can count: only root's processes may become an unused user's.
bool canLimitThreads();

// Lets this process, a forked child of root's, have `more` threads beyond those that it has now;
// any further one is refused by the system. To be called again for another number.
void limitThreads(std::size_t more);

// The exit status of a child that runs `work` with this limit (see ChildProcess::wait).
int statusWithThreads(std::size_t more, const std::function<int()>& work);

}  // namespace orx::testing
