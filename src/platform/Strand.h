#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace orx {

// A queue over the worker pool whose jobs start in the order in which they came, at most `width` of
// them at a time (0: no limit). What was posted runs also after the last handle is gone. A cheap
// handle: copies are the same queue.
class Strand {
 public:
  using Finish = std::function<void()>;

  explicit Strand(std::size_t width = 1);

  // Neither job may throw.
  void post(std::function<void()> job) const;
  // The job keeps its place until the function that it is handed has been called, once, from
  // any thread; calls after the first do nothing.
  void postFinishing(std::function<void(Finish)> job) const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace orx
