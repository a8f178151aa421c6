#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"
#include "support/Await.h"
#include "support/ChildProcess.h"

namespace orx::testing {

using namespace platform;
namespace {

constexpr int fine = 7;

// The exit status of a process that runs `work`, or minus the number of the alarm that ended it.
int statusOf(const std::function<int()>& work) {
  ChildProcess process([&] {
    alarm(static_cast<unsigned>(patience.count() * 2 / 3));
    return work();
  });
  return process.wait();
}

std::atomic<bool> isForking = false;

bool mainThreadSleeps() {
  std::ifstream file("/proc/self/task/" + std::to_string(getpid()) + "/stat");
  std::string line;
  std::getline(file, line);
  // The state follows the program's name, which stands in parentheses.
  return line.find(") S") != std::string::npos;
}

// Forks while another thread is in the middle of `work`, from where it calls its argument to wait
// until the fork waits for it. Gives the status of the child, which runs `inChild`.
int forkAmid(const std::function<void(const std::function<void()>& awaitFork)>& work,
             const std::function<int()>& inChild) {
  // The handlers that were registered last run first.
  pthread_atfork([] { isForking = true; }, nullptr, nullptr);
  Event begun;
  Event over;
  bool forkWaited = false;
  std::thread other([&] {
    work([&] {
      begun.set();
      forkWaited = eventually([] { return isForking && mainThreadSleeps(); });
    });
    // Stays as it is: at a fork it must not be inside the allocator of a sanitizer.
    (void)over.wait();
  });
  if (!begun.wait()) return 1;
  const int status = statusOf(inChild);
  over.set();
  other.join();
  return forkWaited ? status : 1;
}

struct Guarded {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  int value = fine;

  int read() {
    const std::lock_guard lock(mutex);
    return value;
  }
};

TEST(ForkSafety, AForkWaitsForTheMakingOfAnObjectAndOfWhatItNeeds) {
  static constinit ProcessWide<Guarded> before;
  static constinit ProcessWide<Guarded> part;
  static constinit ProcessWide<Guarded> whole;
  const auto status = statusOf([] {
    before.get();
    return forkAmid(
        [](const auto& awaitFork) {
          whole.get([&] {
            awaitFork();
            before.get().read();
            part.get().read();
            return Guarded();
          });
        },
        [] {
          const bool isWhole = before.get().read() == fine && part.get().read() == fine;
          return isWhole ? whole.get().read() : 1;
        });
  });
  EXPECT_EQ(status, fine);
}

TEST(ForkSafety, AForkTakesMutexesInTheOrderInWhichTheyNest) {
  static ForkSafeMutex brief(ForkSafeMutex::Section::Brief);
  static std::mutex inner;
  static std::mutex outer;
  holdAcrossFork(ForkRank::workerPool, inner);
  holdAcrossFork(ForkRank::queues, outer);
  const auto status = statusOf([] {
    return forkAmid(
        [](const auto& awaitFork) {
          const std::lock_guard first(outer);
          awaitFork();
          const std::lock_guard second(inner);
          const std::lock_guard third(brief);
        },
        [] {
          const std::scoped_lock all(outer, inner);
          const std::lock_guard third(brief);
          return fine;
        });
  });
  EXPECT_EQ(status, fine);
}

TEST(ForkSafety, WhatIsBegunAnewInAChildIsLeftAloneInItsParent) {
  static std::mutex mutex;
  static int begun = 0;
  holdAcrossFork(ForkRank::queues, mutex, [] { ++begun; });
  EXPECT_EQ(statusOf([] { return begun == 1 ? fine : 1; }), fine);
  EXPECT_EQ(begun, 0);
}

TEST(ProcessWide, IsMadeOnceHoweverManyThreadsUseItFirst) {
  static constinit ProcessWide<int> object;
  std::atomic<int> made = 0;
  std::vector<const int*> seen(8);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (const int*& place : seen) {
    threads.emplace_back([&] { place = &object.get([&] { return ++made; }); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(made, 1);
  for (const int* place : seen) EXPECT_EQ(place, seen.front());
}

TEST(ProcessWide, IsMadeByTheNextUseWhenItsMakingFails) {
  static constinit ProcessWide<int> object;
  const auto fail = []() -> int { throw std::runtime_error("no memory"); };
  EXPECT_THROW(object.get(fail), std::runtime_error);
  EXPECT_EQ(object.get([] { return fine; }), fine);
  // The creation is over: a fork does not wait for it.
  EXPECT_EQ(statusOf([] { return object.get(); }), fine);
}

}  // namespace
}  // namespace orx::testing
