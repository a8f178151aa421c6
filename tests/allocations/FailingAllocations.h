#pragma once

#include <cstddef>
#include <memory>

namespace orx::testing {

enum class Shortage { OfOneAllocation, FromThereOn };

// While it exists, operator new fails on this thread: the call of this number, counted from 1, or
// that one and all that come after it. One at a time.
class FailingAllocations {
 public:
  FailingAllocations(std::size_t number, Shortage shortage);
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
  ~FailingAllocations();

  static bool hasFailed();
};

// Runs `attempt` again and again: first the first allocation fails in it, then the second, until
// none does; all of it once for each kind of shortage. `attempt` is given a function that begins
// and one that ends the shortage, so that what a test itself allocates is left alone.
template <typename Attempt>
void withEachAllocationFailing(Attempt attempt) {
  for (const Shortage shortage : {Shortage::OfOneAllocation, Shortage::FromThereOn}) {
    bool hasFailed = true;
    for (std::size_t number = 1; hasFailed; ++number) {
      std::unique_ptr<FailingAllocations> failing;
      attempt([&] { failing = std::make_unique<FailingAllocations>(number, shortage); },
              [&] {
                hasFailed = FailingAllocations::hasFailed();
                failing.reset();
              });
    }
  }
}

}  // namespace orx::testing
