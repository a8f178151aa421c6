// SPDX-License-Identifier: MIT
#include "platform/queues/OperationQueue.h"

#include <utility>

#include "platform/process/ForkSafety.h"
#include "platform/queues/WorkerPool.h"

namespace orx {

using namespace platform;

// Changes the state, then starts the operation that may start now, if there is one.
template <typename Change>
void OperationQueue::update(const Change& change) {
  std::unique_ptr<Job> next;
  {
    const BriefSection section;
    leaveParentsOperations();
    change();
    if (!isRunning_ && !isSuspended_ && !waiting_.empty()) {
      isRunning_ = true;
      next = waiting_.takeFirst();
    }
  }
  if (next) WorkerPool::shared().submit(std::move(next));
}

// Keeps the queue alive while it waits and runs.
class OperationQueue::Operation final : public Job {
 public:
  Operation(std::shared_ptr<OperationQueue> queue, std::function<void()> block)
      : queue_(std::move(queue)), block_(std::move(block)) {}

  void run() override {
    const std::uint64_t startedInFork = forkCount();
    block_();
    // What it holds goes before the next operation starts.
    block_ = nullptr;
    queue_->update([&] {
      // An operation that forks returns in the child too, but the child's queue never started it.
      if (startedInFork == queue_->forkCount_) queue_->isRunning_ = false;
    });
  }

 private:
  const std::shared_ptr<OperationQueue> queue_;
  std::function<void()> block_;
};

OperationQueue::OperationQueue() : forkCount_(forkCount()) {}

void OperationQueue::addOperationWithBlock(std::function<void()> block) {
  // Allocated first: nothing below can fail and leave the queue waiting for an operation that does
  // not exist.
  std::unique_ptr<Job> operation = std::make_unique<Operation>(
      std::static_pointer_cast<OperationQueue>(shared_from_this()), std::move(block));
  WorkerPool::shared().ensureWorker();
  update([&] { waiting_.add(std::move(operation)); });
}

void OperationQueue::setSuspended(bool isSuspended) {
  update([&] { isSuspended_ = isSuspended; });
}

// In the child of a fork the queue starts afresh. The parent's operations are kept for ever: what
// they hold may depend on what the parent's threads were doing at the fork, so it is not destroyed.
void OperationQueue::leaveParentsOperations() {
  if (forkCount_ == forkCount()) return;
  static constinit JobList* parents = nullptr;
  // First of all: should it fail, the next use of the queue begins with it again.
  if (parents == nullptr) parents = new JobList;
  forkCount_ = forkCount();
  waiting_.moveTo(*parents);
  isRunning_ = false;
  isSuspended_ = false;
}

}  // namespace orx
