#include "platform/keychain/secretservice/SecretServiceCall.h"

#include "platform/keychain/secretservice/SecretServiceFailure.h"

namespace orx::platform {

namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

std::optional<Result<Data>> SecretServiceCall::wait() {
  std::function<void()> cancel;
  {
    std::unique_lock lock(mutex_);
    // The deadline may move while this waits for it.
    while (!result_ && Clock::now() < deadline_) changed_.wait_until(lock, Deadline(deadline_));
    if (result_) return result_;
    abandoned_ = true;
    cancel.swap(cancel_);
  }
  if (cancel) cancel();
  return std::nullopt;
}

void SecretServiceCall::throwIfOver() const {
  if (abandoned_ || Clock::now() >= deadline_) {
    throw SecretServiceFailure{SecretServiceFailure::Kind::Silent, {}};
  }
}

std::chrono::milliseconds SecretServiceCall::remaining() {
  const std::lock_guard lock(mutex_);
  throwIfOver();
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
  cancel_ = nullptr;
  changed_.notify_all();
}

}  // namespace orx::platform
