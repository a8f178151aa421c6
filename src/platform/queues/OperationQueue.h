#pragma once

#include <ORXAccount/platform/Object.h>

#include <cstddef>
#include <functional>
#include <memory>

namespace orx {

// Runs operations off the caller's thread, over the shared worker pool: an idle queue costs no
// thread. Operations start in the order in which they were added. A queue that is dropped still
// runs what was added to it. Operations must not throw. What an operation holds is gone before one
// that waited for its place begins.
class OperationQueue final : public Object {
 public:
  // At most `maxConcurrentOperationCount` operations at a time; 0 sets no limit.
  static std::shared_ptr<OperationQueue> queueWithMaxConcurrentOperationCount(std::size_t count);

  std::size_t maxConcurrentOperationCount() const;

  void addOperationWithBlock(std::function<void()> block);

  // The operation ends when the function that it is handed has been called (from any thread, once),
  // not when the block returns: meanwhile it holds its place in the queue but no thread. What the
  // block holds goes when it has returned.
  using Finish = std::function<void()>;
  void addOperationWithFinishingBlock(std::function<void(Finish)> block);

  ~OperationQueue() override;

 private:
  explicit OperationQueue(std::size_t count);
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace orx
