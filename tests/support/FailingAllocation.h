#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <new>

namespace orx::testing {

// While it lives, one allocation that this thread makes with operator new throws std::bad_alloc:
// the one of this number, 0 being the first. One at a time on a thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t number);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();

  bool hasFailed() const;
};

// Makes every allocation of `operation` fail, one in each round. A round is prepare(); operation(),
// one allocation of which fails; check(whether operation() threw std::bad_alloc). Ends with the
// first round in which no allocation was left to fail, or with a failed check.
template <typename Prepare, typename Operation, typename Check>
void failEachAllocation(const Prepare& prepare, const Operation& operation, const Check& check) {
  for (std::size_t number = 0;; ++number) {
    SCOPED_TRACE(number);
    prepare();
    bool threw = false;
    bool failed = false;
    {
      const FailingAllocation allocation(number);
      try {
        operation();
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      failed = allocation.hasFailed();
    }
    check(threw);
    if (!failed || ::testing::Test::HasFailure()) return;
  }
}

}  // namespace orx::testing
