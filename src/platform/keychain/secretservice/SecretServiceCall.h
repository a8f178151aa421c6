#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// One operation on the service, shared by the thread that waits for it and the thread that carries
// it out. They are two because the library below can block without an end: then the waiting thread
// gives up and the other one stays behind.
class SecretServiceCall {
 public:
  explicit SecretServiceCall(Deadline deadline) : deadline_(deadline) {}

  // The waiting side: the result, or nothing when the time ran out first. The operation is then
  // abandoned: it takes no further step. An operation that reads nothing gives empty data.
  std::optional<Result<Data>> wait();

  // The working side. What is left of the time; throws a Silent failure when nothing is.
  std::chrono::milliseconds remaining();
  // A prompt has been issued, or answered: there is time until then.
  void extend(Deadline deadline);
  // `cancel` is called once, on the waiting thread, if the operation is abandoned.
  void onAbandon(std::function<void()> cancel);
  void finish(Result<Data> result);

 private:
  void throwIfOver() const;

  std::mutex mutex_;
  std::condition_variable changed_;
  Deadline deadline_;
  bool abandoned_ = false;
  std::optional<Result<Data>> result_;
  std::function<void()> cancel_;
};

}  // namespace orx::platform
