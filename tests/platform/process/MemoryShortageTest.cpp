// SPDX-License-Identifier: MIT
// Each allocation of a call fails once: then the call has done nothing.
#include <ORXAccount/platform/NotificationCenter.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "allocations/FailingAllocation.h"
#include "platform/process/ForkSafety.h"

namespace orx::testing {

using namespace platform;
namespace {

const std::string longText(100, 'x');

void post() {
  NotificationCenter::defaultCenter()->postNotificationName_object_userInfo(longText, nullptr, {});
}

TEST(MemoryShortage, RegistersAnObserverOrNone) {
  (void)NotificationCenter::defaultCenter();
  bool hasFailed = true;
  std::vector<Observation> earlier;
  earlier.reserve(100);
  for (std::size_t number = 0; hasFailed; ++number) {
    int heard = 0;
    Observation observation;
    const auto added = withFailingAllocation(number, [&] {
      observation = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          longText, nullptr, [&heard](const Notification&) { ++heard; });
    });
    hasFailed = added.hasFailed;
    post();
    EXPECT_EQ(heard, added.threw ? 0 : 1) << number;
    // The list's place is used up, so that the next observer needs more.
    earlier.push_back(NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
        "other", nullptr, [](const Notification&) {}));
  }
}

TEST(MemoryShortage, DeliversANotificationToEverybodyOrToNobody) {
  int heard = 0;
  std::vector<Observation> observations;
  observations.reserve(5);
  for (int i = 0; i < 5; ++i) {
    observations.push_back(
        NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
            std::nullopt, nullptr, [&heard](const Notification&) { ++heard; }));
  }
  bool hasFailed = true;
  for (std::size_t number = 0; hasFailed; ++number) {
    heard = 0;
    const auto posted = withFailingAllocation(number, post);
    hasFailed = posted.hasFailed;
    EXPECT_EQ(heard, posted.threw ? 0 : 5) << number;
  }
}

TEST(MemoryShortage, LeavesAGuardedValueReadable) {
  Guarded<std::string> guarded(longText);
  EXPECT_TRUE(withFailingAllocation(0, [&] { (void)guarded.get(); }).threw);
  EXPECT_EQ(guarded.get(), longText);
}

TEST(MemoryShortage, LetsTheNextUseMakeAProcessWideObject) {
  static constinit ProcessWide<std::string> object;
  for (std::size_t number = 0; number < 2; ++number) {
    EXPECT_TRUE(
        withFailingAllocation(number, [] { (void)object.get([] { return longText; }); }).threw);
  }
  EXPECT_EQ(object.get([] { return longText; }), longText);
}

}  // namespace
}  // namespace orx::testing
