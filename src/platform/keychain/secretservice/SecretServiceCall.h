// SPDX-License-Identifier: MIT
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
  // abandoned: it takes no further step. An operation that reads nothing gives empty data. Throws
  // std::bad_alloc when the working side had no memory: on the caller's thread it can be told.
  std::optional<Result<Data>> wait();

  // The working side. What is left of the time; throws a Silent failure when nothing is.
  std::chrono::milliseconds remaining();
  // A prompt has been issued, or answered: there is time until then. Throws like remaining().
  void extend(Deadline deadline);
  // `cancel` is called once, on the waiting thread, if the operation is abandoned. Throws like
  // remaining().
  void onAbandon(std::function<void()> cancel);
  // The last step. After it, `cancel` is no longer called.
  void finish(Result<Data> result);
  // Instead of it.
  void finishWithoutMemory();

 private:
  void throwIfOver() const;

  // Guards everything below. No fork waits for it: an operation ends with its process.
  std::mutex mutex_;
  std::condition_variable changed_;
  // Once it has passed it never moves again, so that both sides agree that the operation is over.
  Deadline deadline_;
  std::optional<Result<Data>> result_;
  bool ranOutOfMemory_ = false;
  std::function<void()> cancel_;
};

}  // namespace orx::platform
