// SPDX-License-Identifier: MIT
#include "platform/process/Signals.h"

#include <time.h>

#include <initializer_list>
#include <thread>
#include <utility>

namespace orx::platform {

BlockedSignals::BlockedSignals() noexcept {
  sigset_t fromOutside;
  sigfillset(&fromOutside);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
    sigdelset(&fromOutside, fault);
  }
  pthread_sigmask(SIG_BLOCK, &fromOutside, &before_);
}

BlockedSignals::~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

SuppressedSignal::SuppressedSignal(int signal) noexcept {
  sigemptyset(&signal_);
  sigaddset(&signal_, signal);
  sigset_t pending;
  sigpending(&pending);
  wasPending_ = sigismember(&pending, signal) == 1;
  pthread_sigmask(SIG_BLOCK, &signal_, &before_);
}

SuppressedSignal::~SuppressedSignal() {
  const int errnoBefore = errno;
  const timespec noWait{};
  // Takes the signal off the pending ones before it is unblocked; otherwise it would be delivered.
  while (!wasPending_ && sigtimedwait(&signal_, nullptr, &noWait) == -1 && errno == EINTR) {
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  errno = errnoBefore;
}

void startBackgroundThread(std::function<void()> body) {
  const BlockedSignals blocked;
  std::thread(std::move(body)).detach();
}

}  // namespace orx::platform
