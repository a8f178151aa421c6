#include "platform/process/HeldSignal.h"

#include <errno.h>
#include <time.h>

namespace orx::platform {

HeldSignal::HeldSignal(int signal) noexcept {
  sigemptyset(&signal_);
  sigaddset(&signal_, signal);
  sigset_t pending;
  sigpending(&pending);
  wasPending_ = sigismember(&pending, signal) == 1;
  pthread_sigmask(SIG_BLOCK, &signal_, &before_);
}

HeldSignal::~HeldSignal() {
  const int errnoBefore = errno;
  const timespec noWait{};
  while (!wasPending_ && sigtimedwait(&signal_, nullptr, &noWait) == -1 && errno == EINTR) {
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  errno = errnoBefore;
}

}  // namespace orx::platform
