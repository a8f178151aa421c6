// SPDX-License-Identifier: MIT
#pragma once

#include <errno.h>
#include <signal.h>

#include <functional>

// Signals are the host's: the library changes no disposition, and none is delivered on its threads.
namespace orx::platform {

// While this lives, no signal from outside is delivered to the calling thread, nor to threads that
// it starts, which inherit its mask. Faults of the thread itself (SIGSEGV and the like) stay as
// they are: the kernel ends a process at once when a thread faults with the signal blocked, and
// the host's handler could not write its crash report. Destroyed on the thread that made it; keeps
// errno.
class BlockedSignals {
 public:
  BlockedSignals() noexcept;
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals();

 private:
  sigset_t before_{};
};

// While this lives, a signal that one of the calling thread's own system calls raises (SIGPIPE,
// SIGXFSZ) is blocked, and it is discarded at the end: the call's error number tells enough. A
// signal that was pending before is someone else's and stays pending. Destroyed on the thread that
// made it; keeps errno.
class SuppressedSignal {
 public:
  explicit SuppressedSignal(int signal) noexcept;
  SuppressedSignal(const SuppressedSignal&) = delete;
  SuppressedSignal& operator=(const SuppressedSignal&) = delete;
  ~SuppressedSignal();

 private:
  sigset_t signal_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

// Repeats a system call that ends with -1 and EINTR, with signals blocked: a host's timer may fire
// faster than the call can end, so that it never would. An EINTR that comes all the same is the
// file system's own; after 100 of them it is handed on, or such a file system would hold up the
// caller for ever.
template <typename Call>
auto uninterrupted(const Call& call) {
  auto result = call();
  if (result >= 0 || errno != EINTR) return result;
  const BlockedSignals blocked;
  for (int attempt = 0; result < 0 && errno == EINTR && attempt < 100; ++attempt) result = call();
  return result;
}

// Starts a detached thread with signals blocked. Throws std::system_error when the system has no
// thread left, std::bad_alloc without memory.
void startBackgroundThread(std::function<void()> body);

}  // namespace orx::platform
