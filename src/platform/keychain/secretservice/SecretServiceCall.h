#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// One operation on the service, between the thread that waits for it and the thread that carries it
// out: the library below may wait for ever, so nobody waits for the library.
class SecretServiceCall {
 public:
  explicit SecretServiceCall(Deadline deadline) : deadline_(deadline) {}

  // The waiting side: the outcome, or nothing when the time ran out first. The operation is then
  // abandoned: it takes no further step.
  std::optional<KeychainOutcome> wait();

  // The working side. What is left of the time; throws a Silent failure when nothing is.
  std::chrono::milliseconds remaining();
  // A prompt has been issued, or answered: there is time until then.
  void extend(Deadline deadline);
  // `cancel` is called once, on the waiting thread, if the operation is abandoned.
  void onAbandon(std::function<void()> cancel);
  void finish(KeychainOutcome outcome);

 private:
  void throwIfOver() const;

  std::mutex mutex_;
  std::condition_variable changed_;
  Deadline deadline_;
  bool abandoned_ = false;
  std::optional<KeychainOutcome> outcome_;
  std::function<void()> cancel_;
};

}  // namespace orx::platform
