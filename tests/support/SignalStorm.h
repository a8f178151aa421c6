#pragma once

#include <time.h>

#include <chrono>

namespace orx::testing {

// For as long as this lives, SIGUSR1 comes again and again to the thread that made it, whose system
// calls it interrupts: its handler asks for no restart. The handler stays.
class SignalStorm {
 public:
  explicit SignalStorm(std::chrono::microseconds interval = std::chrono::microseconds(200));
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm();

  // How many have come to this process.
  static int caught();

 private:
  timer_t timer_{};
};

}  // namespace orx::testing
