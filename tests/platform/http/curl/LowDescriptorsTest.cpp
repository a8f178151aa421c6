// SPDX-License-Identifier: MIT
// A host that closed its standard streams: the system gives out their numbers next.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/http/curl/EpollPoller.h"
#include "support/ChildProcess.h"

namespace orx::testing {

using namespace platform;
namespace {

constexpr int fine = 7;

// The number that the system gives out next.
int nextDescriptor() {
  const int next = dup(STDERR_FILENO);
  close(next);
  return next;
}

void limitDescriptors(rlim_t count) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = count;
  setrlimit(RLIMIT_NOFILE, &limit);
}

TEST(LowDescriptors, AreTakenForTheWaitAndForWakingIt) {
  ChildProcess child([] {
    close(0);
    close(1);
    EpollPoller poller;
    if (!poller.open()) return 1;
    return fcntl(0, F_GETFD) >= 0 && fcntl(1, F_GETFD) >= 0 ? fine : 2;
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST(LowDescriptors, AreNotTakenTwiceForWaking) {
  ChildProcess child([] {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    EpollPoller poller;
    limitDescriptors(static_cast<rlim_t>(nextDescriptor()) + 1);
    if (poller.open()) return 1;
    limitDescriptors(before.rlim_cur);
    close(0);
    if (!poller.open() || fcntl(0, F_GETFD) < 0) return 2;
    const int next = nextDescriptor();
    if (!poller.open()) return 3;
    return nextDescriptor() == next ? fine : 4;
  });
  EXPECT_EQ(child.wait(), fine);
}

}  // namespace
}  // namespace orx::testing
