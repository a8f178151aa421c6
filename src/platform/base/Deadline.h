// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace orx::platform {

// When a bounded wait ends.
using Deadline = std::chrono::steady_clock::time_point;

}  // namespace orx::platform
