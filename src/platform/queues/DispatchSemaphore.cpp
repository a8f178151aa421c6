#include "platform/queues/DispatchSemaphore.h"

#include <deque>
#include <mutex>
#include <utility>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace {

// One for all semaphores: a mutex in each could not be kept whole across a fork.
ForkSafeMutex& mutex() {
  static constinit ProcessWide<ForkSafeMutex> shared;
  return shared.get([] { return ForkSafeMutex(ForkSafeMutex::Section::Brief); });
}

}  // namespace

struct DispatchSemaphore::State {
  std::size_t count;
  std::deque<std::function<void()>> waiters;
};

DispatchSemaphore::DispatchSemaphore(std::size_t count) : state_(std::make_unique<State>()) {
  state_->count = count;
}

DispatchSemaphore::~DispatchSemaphore() = default;

std::shared_ptr<DispatchSemaphore> DispatchSemaphore::createWithCount(std::size_t count) {
  return std::shared_ptr<DispatchSemaphore>(new DispatchSemaphore(count));
}

void DispatchSemaphore::wait_then(std::function<void()> then) {
  {
    const std::lock_guard lock(mutex());
    if (state_->count == 0) {
      state_->waiters.push_back(std::move(then));
      return;
    }
    --state_->count;
  }
  then();
}

void DispatchSemaphore::signal() {
  // The waiter may drop the last reference to this semaphore, so nothing is touched after it.
  std::function<void()> next;
  {
    const std::lock_guard lock(mutex());
    if (state_->waiters.empty()) {
      ++state_->count;
      return;
    }
    next = std::move(state_->waiters.front());
    state_->waiters.pop_front();
  }
  next();
}

}  // namespace orx
