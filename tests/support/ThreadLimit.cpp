// SPDX-License-Identifier: MIT
#include "support/ThreadLimit.h"

#include <sys/resource.h>
#include <unistd.h>

#include <stdexcept>

#include "support/ChildProcess.h"
#include "support/ThreadCount.h"

namespace orx::testing {

// The thread sanitizer has a thread of its own, and needs it in every child.
bool canLimitThreads() {
#if defined(__SANITIZE_THREAD__)
  return false;
#else
  return geteuid() == 0;
#endif
}

void limitThreads(std::size_t more) {
  if (geteuid() == 0) {
    // The system counts the threads of a user, and root's are not limited. Tests run side by side,
    // so each process becomes a user of its own.
    const auto unused = 0x60000000U + static_cast<uid_t>(getpid());
    if (setresuid(unused, unused, unused) != 0) throw std::runtime_error("cannot change the user");
  }
  rlimit limit{};
  getrlimit(RLIMIT_NPROC, &limit);
  limit.rlim_cur = threadCount() + more;
  if (setrlimit(RLIMIT_NPROC, &limit) != 0) throw std::runtime_error("cannot limit threads");
}

int statusWithThreads(std::size_t more, const std::function<int()>& work) {
  ChildProcess child([&] {
    limitThreads(more);
    return work();
  });
  return child.wait();
}

}  // namespace orx::testing
