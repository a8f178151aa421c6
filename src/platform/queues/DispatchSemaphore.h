// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Object.h>

#include <cstddef>
#include <list>
#include <memory>

#include "platform/queues/OperationQueue.h"

namespace orx {

// A counting semaphore. A queue waits for it, not a thread. Safe to use from any thread.
class DispatchSemaphore final : public Object {
 public:
  explicit DispatchSemaphore(std::size_t count) : count_(count) {}

  // Takes one off the count. When it is 0, the queue is suspended until a signal has come for it;
  // queues are resumed in the order in which they began to wait. Called by an operation of the
  // queue, so that it cannot wait twice.
  void wait(const std::shared_ptr<OperationQueue>& queue);
  void signal();

 private:
  // Both under BriefSection.
  std::size_t count_;
  std::list<std::shared_ptr<OperationQueue>> waiters_;
};

}  // namespace orx
