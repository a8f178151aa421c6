#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/http/curl/Transfer.h"
#include "platform/queues/WorkerPool.h"

namespace orx::platform {

// Runs all transfers of the process on whichever worker attends to them, from the first one on.
// Never destroyed.
class TransferEngine final : private Duty {
 public:
  static TransferEngine& shared();

  // Takes a transfer over; it reports later. When the process can have no thread at all, that is
  // when the next one can be had. Cheap: at most
  // one wake-up for any number of transfers in a row.
  void submit(std::unique_ptr<Transfer> transfer);

 private:
  struct State;

  TransferEngine();
  // Called with the inbox locked, so that a fork waits for its end.
  void initialiseLibcurl();
  // True when a worker attends; called with the inbox locked.
  bool ensureRunning();
  void wait() override;
  void turn() override;
  using InboxLock = std::lock_guard<std::mutex>;
  // Around what calls libcurl. False when the process ends, and libcurl is to be left alone.
  bool enterLibcurl(const InboxLock&);
  void leaveLibcurl(const InboxLock&);
  // When the process ends: waits, for a bounded time, until libcurl is left.
  void stop();

  // Held while libcurl works, so that a fork finds it, and OpenSSL, between two steps.
  std::mutex workMutex_;
  // Guards what other threads see of the state.
  std::mutex inboxMutex_;
  State* state_;
  bool libcurlIsInitialised_ = false;
  bool stopping_ = false;
  bool isInsideLibcurl_ = false;
  std::condition_variable libcurlIsLeft_;
};

}  // namespace orx::platform
