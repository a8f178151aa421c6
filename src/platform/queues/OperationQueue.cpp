#include "platform/queues/OperationQueue.h"

#include <utility>

#include "platform/queues/Job.h"
#include "platform/queues/Strand.h"

namespace orx {

using namespace platform;

struct OperationQueue::State {
  std::size_t count;
  Strand strand;
};

OperationQueue::OperationQueue(std::size_t count)
    : state_(std::make_shared<State>(State{count, Strand(count)})) {}

OperationQueue::~OperationQueue() = default;

std::shared_ptr<OperationQueue> OperationQueue::queueWithMaxConcurrentOperationCount(
    std::size_t count) {
  return std::shared_ptr<OperationQueue>(new OperationQueue(count));
}

std::size_t OperationQueue::maxConcurrentOperationCount() const { return state_->count; }

void OperationQueue::addOperationWithBlock(std::function<void()> block) {
  state_->strand.post(makeJob(std::move(block)));
}

void OperationQueue::addOperationWithFinishingBlock(std::function<void(Finish)> block) {
  state_->strand.postFinishing(std::move(block));
}

}  // namespace orx
