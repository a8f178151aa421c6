// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Object.h>

#include <cstdint>
#include <functional>

#include "platform/queues/Job.h"

namespace orx {

// A serial queue: runs its operations off the caller's thread, one after the other in the order in
// which they were added, on the workers of the shared pool. An idle queue holds no thread. What an
// operation holds is destroyed before the next one starts. A queue whose last reference is dropped
// still runs what was added to it. The child of a fork starts with an empty queue that runs: what
// was added before is the parent's and is neither run nor destroyed there. Safe to use from any
// thread.
class OperationQueue final : public Object {
 public:
  OperationQueue();

  // `block` must not throw. When the system has no thread or memory for it, throws
  // std::system_error or std::bad_alloc, and the queue is as it was.
  void addOperationWithBlock(std::function<void()> block);

  // While a queue is suspended, no operation of it starts; one that runs goes on. An operation that
  // suspends its own queue so ends later than its function returns: it holds the queue, but no
  // thread, until somebody resumes the queue.
  void setSuspended(bool isSuspended);

 private:
  class Operation;

  template <typename Change>
  void update(const Change& change);
  void leaveParentsOperations();

  // All under BriefSection.
  platform::JobList waiting_;
  bool isRunning_ = false;  // an operation runs, or waits for a worker
  bool isSuspended_ = false;
  std::uint64_t forkCount_;
};

}  // namespace orx
