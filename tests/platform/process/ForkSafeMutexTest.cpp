#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "platform/process/ForkSafeMutex.h"
#include "support/Await.h"
#include "support/ChildProcess.h"

namespace orx {

using namespace platform;
namespace {

using Section = ForkSafeMutex::Section;

TEST(ForkSafeMutex, IsFreeInAChildForkedWhileAnotherThreadIsInALongSection) {
  auto& mutex = *new ForkSafeMutex(Section::Long);
  testing::Event locked;
  testing::Event done;
  std::thread holder([&] {
    const std::lock_guard guard(mutex);
    locked.set();
    EXPECT_TRUE(done.wait());
  });
  ASSERT_TRUE(locked.wait());
  testing::ChildProcess child([&] {
    const std::lock_guard guard(mutex);
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  done.set();
  holder.join();
  const std::lock_guard guard(mutex);
}

TEST(ForkSafeMutex, ShowsAChildWhatABriefSectionGuardsWhole) {
  auto& mutex = *new ForkSafeMutex(Section::Brief);
  volatile int left = 0;
  volatile int right = 0;
  std::atomic<bool> stop = false;
  std::thread changer([&] {
    while (!stop) {
      const std::lock_guard guard(mutex);
      left = left + 1;
      right = right + 1;
    }
  });
  for (int round = 0; round < 100; ++round) {
    testing::ChildProcess child([&] {
      const std::lock_guard guard(mutex);
      return left == right ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), 0);
  }
  stop = true;
  changer.join();
}

TEST(ForkSafeMutex, ExcludesOtherThreads) {
  for (const auto section : {Section::Brief, Section::Long}) {
    auto& mutex = *new ForkSafeMutex(section);
    int count = 0;
    const auto work = [&] {
      for (int round = 0; round < 10'000; ++round) {
        const std::lock_guard guard(mutex);
        ++count;
      }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 20'000);
  }
}

}  // namespace
}  // namespace orx
