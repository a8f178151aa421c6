// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>

#include "support/Await.h"

namespace orx::testing {

// Signals of one byte each between processes that share a pipe.
class PipeSignals {
 public:
  PipeSignals() {
    if (pipe(ends_.data()) != 0) throw std::runtime_error("cannot make a pipe");
  }
  void put(char signal) const { (void)!write(ends_[1], &signal, 1); }
  // Waits until this signal has come so many times; others that come meanwhile are dropped.
  [[nodiscard]] bool await(char signal, int count) const {
    char next = 0;
    pollfd waiting{.fd = ends_[0], .events = POLLIN, .revents = 0};
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience);
    while (count > 0 && poll(&waiting, 1, static_cast<int>(limit.count())) == 1) {
      if (read(ends_[0], &next, 1) == 1 && next == signal) --count;
    }
    return count == 0;
  }

 private:
  std::array<int, 2> ends_{};
};

}  // namespace orx::testing
