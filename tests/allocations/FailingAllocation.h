// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>

namespace orx::testing {

enum class Shortage { OfOneAllocation, FromThereOn };

// While it lives, operator new throws std::bad_alloc on this thread: the call of this number, 0
// being the first, or that one and all that come after it. One at a time on a thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t number, Shortage shortage = Shortage::OfOneAllocation);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  // False while there were not as many allocations yet.
  static bool hasFailed();
};

// What came of a piece of work with one allocation failing.
struct WorkWithoutMemory {
  bool threw;      // std::bad_alloc, to its caller
  bool hasFailed;  // false: it makes no allocation of this number
};

template <typename Work>
WorkWithoutMemory withFailingAllocation(std::size_t number, const Work& work) {
  const FailingAllocation failing(number);
  bool threw = false;
  try {
    work();
  } catch (const std::bad_alloc&) {
    threw = true;
  }
  return {threw, FailingAllocation::hasFailed()};
}

// Makes every allocation of `operation` fail, one in each round. A round is prepare(); operation(),
// one allocation of which fails; check(whether operation() threw std::bad_alloc). Ends with the
// first round in which no allocation was left to fail, or with a failed check.
template <typename Prepare, typename Operation, typename Check>
void failEachAllocation(const Prepare& prepare, const Operation& operation, const Check& check) {
  for (std::size_t number = 0;; ++number) {
    SCOPED_TRACE(number);
    prepare();
    const auto [threw, hasFailed] = withFailingAllocation(number, operation);
    check(threw);
    if (!hasFailed || ::testing::Test::HasFailure()) return;
  }
}

// Runs `attempt` again and again: first the first allocation fails in it, then the second, until
// none does; all of it once for each kind of shortage. `attempt` is given a function that begins
// and one that ends the shortage, so that what a test itself allocates is left alone.
template <typename Attempt>
void withEachAllocationFailing(Attempt attempt) {
  for (const Shortage shortage : {Shortage::OfOneAllocation, Shortage::FromThereOn}) {
    bool hasFailed = true;
    for (std::size_t number = 0;; ++number) {
      std::unique_ptr<FailingAllocation> failing;
      attempt([&] { failing = std::make_unique<FailingAllocation>(number, shortage); },
              [&] {
                hasFailed = FailingAllocation::hasFailed();
                failing.reset();
              });
      if (!hasFailed) break;
    }
  }
}

}  // namespace orx::testing
