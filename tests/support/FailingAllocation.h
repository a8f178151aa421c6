#pragma once

#include <cstddef>
#include <new>

namespace orx::testing {

// While this lives, one allocation of its thread by operator new throws std::bad_alloc: the one
// before which there were `number` others. A test program that uses it gets an operator new of its
// own.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t number);
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

}  // namespace orx::testing
