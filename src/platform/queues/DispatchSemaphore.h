#pragma once

#include <ORXAccount/platform/Object.h>

#include <cstddef>
#include <functional>
#include <memory>

namespace orx {

// A counting semaphore whose waiters hold no thread.
class DispatchSemaphore final : public Object {
 public:
  static std::shared_ptr<DispatchSemaphore> createWithCount(std::size_t count);

  // Runs `then` once the count allows: at once on this thread, or later inside the signal that
  // makes it so. Waiters go on in the order in which they came.
  void wait_then(std::function<void()> then);
  void signal();

  ~DispatchSemaphore() override;

 private:
  explicit DispatchSemaphore(std::size_t count);
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orx
