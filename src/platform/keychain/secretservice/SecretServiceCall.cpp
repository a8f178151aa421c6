// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/SecretServiceCall.h"

#include <new>

#include "platform/keychain/secretservice/SecretServiceFailure.h"

namespace orx::platform {

using Clock = std::chrono::steady_clock;

std::optional<Result<Data>> SecretServiceCall::wait() {
  std::function<void()> cancel;
  {
    std::unique_lock lock(mutex_);
    // The deadline may move while this waits for it.
    while (!result_ && !ranOutOfMemory_ && Clock::now() < deadline_)
      changed_.wait_until(lock, Deadline(deadline_));
    if (result_) return result_;
    if (ranOutOfMemory_) throw std::bad_alloc();
    cancel.swap(cancel_);
  }
  // After the lock: the working side may need it to finish what this interrupts.
  if (cancel) cancel();
  return std::nullopt;
}

void SecretServiceCall::throwIfOver() const {
  if (Clock::now() >= deadline_) throw SecretServiceFailure{failures::Silent};
}

std::chrono::milliseconds SecretServiceCall::remaining() {
  const std::lock_guard lock(mutex_);
  throwIfOver();
  // Rounded up, so that a part of a millisecond does not become none.
  return std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
}

void SecretServiceCall::extend(Deadline deadline) {
  const std::lock_guard lock(mutex_);
  throwIfOver();
  deadline_ = deadline;
  changed_.notify_all();
}

void SecretServiceCall::onAbandon(std::function<void()> cancel) {
  const std::lock_guard lock(mutex_);
  throwIfOver();
  cancel_ = std::move(cancel);
}

void SecretServiceCall::finish(Result<Data> result) {
  const std::lock_guard lock(mutex_);
  result_ = std::move(result);
  // Nothing is left to cancel, and what it holds is let go.
  cancel_ = nullptr;
  changed_.notify_all();
}

void SecretServiceCall::finishWithoutMemory() {
  const std::lock_guard lock(mutex_);
  ranOutOfMemory_ = true;
  cancel_ = nullptr;
  changed_.notify_all();
}

}  // namespace orx::platform
