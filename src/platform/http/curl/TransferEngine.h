// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>

#include "platform/http/curl/Transfer.h"
#include "platform/queues/WorkerPool.h"

namespace orx::platform {

// Runs all transfers of the process on the worker that leads, from the first transfer on. Never
// destroyed. In the child of a fork it starts without any transfer; the parent's connections are
// closed there without a word on them.
class TransferEngine final : private Reactor {
 public:
  static TransferEngine& shared();

  // Takes the transfer over, once missingLibcurl() is empty; it reports later, from a worker, of
  // which there must be one. Cheap: wakes at most one thread for any number of transfers in a row.
  // From any thread. Throws std::bad_alloc without memory, and the transfer reports nothing.
  void submit(std::unique_ptr<Transfer> transfer);

  // For the child of a fork. Needs no memory.
  static void leaveParentsConnections();

 private:
  struct State;
  using InboxLock = std::unique_lock<std::mutex>;

  constexpr TransferEngine() = default;
  // These three are called with the inbox locked. False without descriptors or memory.
  bool ensureRunning();
  // Around each use of libcurl. False when the process ends and libcurl is to be left alone.
  bool enterLibcurl(const InboxLock&);
  void leaveLibcurl(const InboxLock&);

  void wait() override;
  void dispatch() override;
  void interrupt() override;
  // At exit(): waits, for a bounded time, until no thread is inside libcurl.
  void stop();

  // What other threads see of it is under forkLocks.transferInbox.
  State* state_ = nullptr;
  const State* parents_ = nullptr;  // that of the process which has forked this one
  bool stopsAtExit_ = false;
  bool isStopping_ = false;
};

}  // namespace orx::platform
