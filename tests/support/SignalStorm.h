// SPDX-License-Identifier: MIT
#pragma once

#include <time.h>

#include <chrono>

namespace orx::testing {

// While this lives, a timer sends SIGUSR1 to the thread that made it. The handler is set without
// SA_RESTART, so the thread's system calls fail with EINTR. The handler stays set afterwards.
class SignalStorm {
 public:
  explicit SignalStorm(std::chrono::microseconds interval = std::chrono::microseconds(200));
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm();

  // How many of these signals this process has received.
  static int caught();

 private:
  timer_t timer_{};
};

}  // namespace orx::testing
