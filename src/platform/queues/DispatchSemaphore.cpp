// SPDX-License-Identifier: MIT
#include "platform/queues/DispatchSemaphore.h"

#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

void DispatchSemaphore::wait(const std::shared_ptr<OperationQueue>& queue) {
  // Suspended first: a signal that comes right after the section must find a queue to resume.
  std::list<std::shared_ptr<OperationQueue>> waiter{queue};
  queue->setSuspended(true);
  {
    const BriefSection section;
    if (count_ == 0) return waiters_.splice(waiters_.end(), waiter);
    --count_;
  }
  queue->setSuspended(false);
}

void DispatchSemaphore::signal() {
  std::list<std::shared_ptr<OperationQueue>> first;
  {
    const BriefSection section;
    if (waiters_.empty()) {
      ++count_;
      return;
    }
    first.splice(first.end(), waiters_, waiters_.begin());
  }
  first.front()->setSuspended(false);
}

}  // namespace orx
