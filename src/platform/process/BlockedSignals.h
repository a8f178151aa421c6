#pragma once

#include <signal.h>

namespace orx::platform {

// While this lives, no signal from outside is delivered to the calling thread, and no thread that
// it starts is ever given one: those begin with its mask. Signals by which the processor reports a
// fault of the thread itself stay as they are. The kernel ends a process at once whose thread
// faults with such a signal blocked, past the handler by which the host would write its crash
// report. Destroyed on the thread that made it; keeps errno.
class BlockedSignals {
 public:
  BlockedSignals() noexcept;
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals();

 private:
  sigset_t before_{};
};

}  // namespace orx::platform
