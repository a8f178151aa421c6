// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <fstream>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>

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
  // The line begins "PID (NAME) STATE"; state S is sleeping.
  return line.find(") S") != std::string::npos;
}

// Forks while another thread is in the middle of `work`. `work` calls its argument there, which
// returns once fork() waits in a handler. Returns the status of the child, which runs `inChild`; 1
// when fork() did not wait.
int forkAmid(const std::function<void(const std::function<void()>& awaitFork)>& work,
             const std::function<int()>& inChild) {
  // Prepare handlers run in reverse order of registration, so this one runs before the library's.
  pthread_atfork([] { isForking = true; }, nullptr, nullptr);
  Event begun;
  Event over;
  bool forkWaited = false;
  std::thread other([&] {
    work([&] {
      begun.set();
      forkWaited = eventually([] { return isForking && mainThreadSleeps(); });
    });
    // Keep the thread from ending, and so from being inside the allocator, while the child is made.
    (void)over.wait();
  });
  if (!begun.wait()) return 1;
  const int status = statusOf(inChild);
  over.set();
  other.join();
  return forkWaited ? status : 1;
}

TEST(ForkSafety, AForkTakesMutexesInTheOrderInWhichTheyNest) {
  const auto status = statusOf([] {
    return forkAmid(
        [](const auto& awaitFork) {
          const std::lock_guard first(forkLocks.encodings);
          awaitFork();
          const std::lock_guard second(forkLocks.transferEngine);
          const std::lock_guard third(forkLocks.transferInbox);
          const std::lock_guard fourth(forkLocks.workerPool);
          const BriefSection fifth;
        },
        [] {
          const std::lock_guard first(forkLocks.encodings);
          const std::lock_guard second(forkLocks.transferEngine);
          const std::lock_guard third(forkLocks.transferInbox);
          const std::lock_guard fourth(forkLocks.workerPool);
          const BriefSection fifth;
          return fine;
        });
  });
  EXPECT_EQ(status, fine);
}

TEST(ForkSafety, AForkThatWaitsForALoadHoldsUpNobodyElse) {
  bool areFree = true;
  const auto status = statusOf([&] {
    return forkAmid(
        [&](const auto& awaitFork) {
          const std::shared_lock loading(forkLocks.loading);
          awaitFork();
          const std::shared_lock another(forkLocks.loading, std::try_to_lock);
          areFree = another.owns_lock();
          for (std::mutex* mutex :
               {&forkLocks.encodings, &forkLocks.transferEngine, &forkLocks.transferInbox,
                &forkLocks.workerPool, &forkLocks.brief}) {
            const std::unique_lock lock(*mutex, std::try_to_lock);
            areFree = areFree && lock.owns_lock();
          }
        },
        [&] {
          const std::lock_guard loading(forkLocks.loading);
          return areFree ? fine : 1;
        });
  });
  EXPECT_EQ(status, fine);
}

int handledForks = 0;
const ForkChildHandler countForks([] { ++handledForks; });

TEST(ForkSafety, AHandlerRunsInTheChildAlone) {
  EXPECT_EQ(statusOf([] { return handledForks == 1 ? fine : 1; }), fine);
  EXPECT_EQ(handledForks, 0);
}

TEST(ForkSafety, CountsTheForksOfAProcessAndItsParents) {
  const auto before = forkCount();
  EXPECT_EQ(statusOf([&] {
              const int grandchild = statusOf([&] { return forkCount() == before + 2 ? fine : 1; });
              return forkCount() == before + 1 ? grandchild : 1;
            }),
            fine);
  EXPECT_EQ(forkCount(), before);
}

// A mutex that may be held for so long that no fork should wait for it.
std::mutex longMutex;
const ForkChildHandler unlockInChild([] { std::construct_at(&longMutex); });

TEST(ForkSafety, AHandlerCanUnlockWhatAnotherThreadOfTheParentHolds) {
  Event locked;
  Event done;
  std::thread holder([&] {
    const std::lock_guard guard(longMutex);
    locked.set();
    EXPECT_TRUE(done.wait());
  });
  ASSERT_TRUE(locked.wait());
  EXPECT_EQ(statusOf([] {
              const std::lock_guard guard(longMutex);
              return fine;
            }),
            fine);
  done.set();
  holder.join();
}

TEST(BriefSection, ShowsAChildWhatItGuardsWhole) {
  volatile int left = 0;
  volatile int right = 0;
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    while (!stop) {
      const BriefSection section;
      left = left + 1;
      right = right + 1;
    }
  });
  for (int round = 0; round < 100; ++round) {
    ChildProcess child([&] {
      const BriefSection section;
      return left == right ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
  }
  stop = true;
  changer.join();
}

TEST(BriefSection, ExcludesOtherThreads) {
  int count = 0;
  const auto work = [&] {
    for (int round = 0; round < 100'000; ++round) {
      const BriefSection section;
      count = count + 1;
    }
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_EQ(count, 200'000);
}

#ifndef NDEBUG
TEST(BriefSection, RefusesToNestRatherThanHang) {
  EXPECT_DEATH(
      {
        const BriefSection outer;
        const BriefSection inner;
      },
      "isNested");
}
#endif

// The child cannot wait for a thread that it does not have, so it makes the object itself.
TEST(ProcessWide, IsMadeByTheChildOfAForkAmidItsMaking) {
  static constinit ProcessWide<int> object;
  const auto status = statusOf([] {
    Event begun;
    Event over;
    std::thread other([&] {
      object.get([&] {
        begun.set();
        EXPECT_TRUE(over.wait());
        return 1;
      });
    });
    if (!begun.wait()) return 1;
    const int child = statusOf([] { return object.get([] { return fine; }); });
    over.set();
    other.join();
    return object.get() == 1 ? child : 1;
  });
  EXPECT_EQ(status, fine);
}

TEST(ProcessWide, HoldsNobodyUpThatUsesAnotherOneWhileItIsMade) {
  static constinit ProcessWide<int> slow;
  static constinit ProcessWide<int> quick;
  const auto status = statusOf([] {
    Event begun;
    Event over;
    std::thread other([&] {
      slow.get([&] {
        begun.set();
        EXPECT_TRUE(over.wait());
        return 1;
      });
    });
    if (!begun.wait()) return 1;
    const int used = quick.get([] { return fine; });
    over.set();
    other.join();
    return used;
  });
  EXPECT_EQ(status, fine);
}

TEST(ProcessWide, IsOneForTwoThreadsThatMakeItAtTheSameTime) {
  static constinit ProcessWide<std::shared_ptr<int>> object;
  const auto status = statusOf([] {
    // Each waits until the other one is making it too.
    std::atomic<int> making = 0;
    std::array<std::weak_ptr<int>, 2> made;
    std::array<const std::shared_ptr<int>*, 2> seen{};
    const auto use = [&](std::size_t self) {
      seen.at(self) = &object.get([&] {
        ++making;
        if (!eventually([&] { return making == 2; })) _exit(1);
        auto own = std::make_shared<int>();
        made.at(self) = own;
        return own;
      });
    };
    std::thread other([&] { use(1); });
    use(0);
    other.join();
    const bool slowerOneIsDestroyed = made[0].expired() != made[1].expired();
    return seen[0] == seen[1] && slowerOneIsDestroyed ? fine : 1;
  });
  EXPECT_EQ(status, fine);
}

TEST(ProcessWide, IsMadeByTheNextUseWhenItsMakingFails) {
  static constinit ProcessWide<int> object;
  const auto status = statusOf([] {
    const auto fail = []() -> int { throw std::runtime_error("no memory"); };
    EXPECT_THROW(object.get(fail), std::runtime_error);
    return object.get([] { return fine; });
  });
  EXPECT_EQ(status, fine);
}

// The replaced value may hold an object of the host whose destructor calls the library.
TEST(Guarded, DestroysWhatIsReplacedOutsideTheSection) {
  const auto status = statusOf([] {
    bool isDestroyed = false;
    const auto usesTheLibrary = [&](int* value) {
      // Aborts when a section is entered already: sections do not nest.
      const BriefSection section;
      isDestroyed = true;
      delete value;
    };
    Guarded<std::shared_ptr<int>> guarded(std::shared_ptr<int>(new int(1), usesTheLibrary));
    guarded.set(std::make_shared<int>(2));
    return isDestroyed && *guarded.get() == 2 && *guarded.exchange(nullptr) == 2 ? fine : 1;
  });
  EXPECT_EQ(status, fine);
}

}  // namespace
}  // namespace orx::testing
