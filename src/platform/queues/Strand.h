#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "platform/queues/Job.h"

namespace orx::platform {

// A queue over the worker pool whose jobs start in the order in which they came, at most `width` of
// them at a time (0: no limit). What was posted runs also after the last handle is gone. A cheap
// handle: copies are the same queue.
class Strand {
 public:
  using Finish = std::function<void()>;

  explicit Strand(std::size_t width = 1);

  // Neither job may throw.
  void post(std::unique_ptr<Job> job) const;
  // The job keeps its place until the function that it is handed has been called, once, from
  // any thread; calls after the first do nothing.
  void postFinishing(std::function<void(Finish)> job) const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

// On the queue, or, where there is none, in no order with others.
void post(const std::optional<Strand>& queue, std::unique_ptr<Job> job);

}  // namespace orx::platform
