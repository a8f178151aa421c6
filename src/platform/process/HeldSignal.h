#pragma once

#include <signal.h>

namespace orx::platform {

// While this lives, the calling thread is spared a signal that one of its own system calls raises;
// the call's error number tells it enough. Unlike a changed disposition it concerns this thread
// alone. A signal that waited before is someone else's and is left waiting. Destroyed on the thread
// that made it; keeps errno.
class HeldSignal {
 public:
  explicit HeldSignal(int signal) noexcept;
  HeldSignal(const HeldSignal&) = delete;
  HeldSignal& operator=(const HeldSignal&) = delete;
  ~HeldSignal();

 private:
  sigset_t signal_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

}  // namespace orx::platform
