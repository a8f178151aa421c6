// SPDX-License-Identifier: MIT
#pragma once

#include <climits>

namespace orx::testing {

// While it lives, chosen calls of one function of the C library fail, whichever thread of this
// program makes them. There is one at a time. `write` counts only what wakes somebody through an
// eventfd, `socket` only what asks for one that does not block, as the library's own are.
class FailingCalls {
 public:
  enum class Function { send, recv, epoll_ctl, write, fcntl, socket };

  // The calls with these numbers, `first` (from 1) and then each `step`-th one up to `last`, fail
  // with this errno.
  FailingCalls(Function function, int error, unsigned first, unsigned last = UINT_MAX,
               unsigned step = 1);
  ~FailingCalls();
  FailingCalls(const FailingCalls&) = delete;
  FailingCalls& operator=(const FailingCalls&) = delete;

  // How many were made so far, those that failed included.
  unsigned count() const;
};

}  // namespace orx::testing
