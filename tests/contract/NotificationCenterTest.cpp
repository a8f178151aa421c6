// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/NotificationCenter.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <atomic>
#include <optional>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

#include "support/Await.h"
#include "support/ChildProcess.h"

namespace orx {
namespace {

class NotificationCenterTest : public ::testing::Test {
 protected:
  Observation observe(std::optional<std::string_view> name, const std::shared_ptr<Object>& object,
                      NotificationCenter::Block block) {
    return center.addObserverForName_object_usingBlock(name, object, std::move(block));
  }
  // Writes `mark` into `calls` at each notification.
  Observation record(std::optional<std::string_view> name, const std::shared_ptr<Object>& object,
                     char mark) {
    return observe(name, object, [this, mark](const Notification&) { calls += mark; });
  }
  void post(std::string_view name, const std::shared_ptr<Object>& object = nullptr,
            const Dictionary& userInfo = {}) {
    center.postNotificationName_object_userInfo(name, object, userInfo);
  }

  NotificationCenter& center = *NotificationCenter::defaultCenter();
  std::string calls;
};

TEST_F(NotificationCenterTest, HandsOverNameSenderAndInformationOnThePostingThread) {
  const auto sender = std::make_shared<Object>();
  std::optional<Notification> seen;
  std::thread::id thread;
  const auto observation = observe("name", nullptr, [&](const Notification& notification) {
    seen = notification;
    thread = std::this_thread::get_id();
  });
  post("name", sender, {{"key", "value"}});
  EXPECT_EQ(seen->name(), "name");
  EXPECT_EQ(seen->object(), sender);
  EXPECT_EQ(seen->userInfo(), (Dictionary{{"key", "value"}}));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(NotificationCenterTest, CallsObserversInTheOrderOfTheirRegistration) {
  const auto first = record("name", nullptr, '1');
  auto second = std::make_optional(record(std::nullopt, nullptr, '2'));
  const auto third = record("name", nullptr, '3');
  post("name");
  second.reset();
  second.emplace(record("name", nullptr, '4'));
  post("name");
  EXPECT_EQ(calls, "123134");
}

TEST_F(NotificationCenterTest, MatchesNameAndSender) {
  const auto sender = std::make_shared<Object>();
  const auto other = std::make_shared<Object>();
  const auto any = record(std::nullopt, nullptr, 'a');
  const auto named = record("name", nullptr, 'n');
  const auto sent = record(std::nullopt, sender, 's');
  const auto both = record("name", sender, 'b');
  post("name", sender);
  EXPECT_EQ(std::exchange(calls, ""), "ansb");
  post("name", other);
  EXPECT_EQ(std::exchange(calls, ""), "an");
  post("name");
  EXPECT_EQ(std::exchange(calls, ""), "an");
  post("other", sender);
  EXPECT_EQ(std::exchange(calls, ""), "as");
  post("", nullptr);
  EXPECT_EQ(calls, "a");
}

TEST_F(NotificationCenterTest, DoesNotKeepASenderAlive) {
  auto sender = std::make_shared<Object>();
  const std::weak_ptr<Object> watched = sender;
  const auto observation = record("name", sender, 'x');
  post("name", sender);
  sender.reset();
  EXPECT_TRUE(watched.expired());
}

TEST_F(NotificationCenterTest, DoesNotTakeALaterObjectAtTheSameAddressForTheSender) {
  alignas(Object) std::array<std::byte, sizeof(Object)> place;
  const auto make = [&] {
    return std::shared_ptr<Object>(new (place.data()) Object,
                                   [](Object* object) { object->~Object(); });
  };
  auto sender = make();
  const auto observation = record("name", sender, 'x');
  post("name", sender);
  EXPECT_EQ(calls, "x");
  const auto* address = sender.get();
  sender.reset();
  sender = make();
  ASSERT_EQ(sender.get(), address);
  post("name", sender);
  EXPECT_EQ(calls, "x");
}

TEST_F(NotificationCenterTest, StopsWithTheObservation) {
  auto observation = record("name", nullptr, 'x');
  Observation moved(std::move(observation));
  post("name");
  EXPECT_EQ(calls, "x");
  moved = Observation();
  post("name");
  EXPECT_EQ(calls, "x");
}

TEST_F(NotificationCenterTest, EndsTheReplacedObservationAtAssignment) {
  auto observation = record("name", nullptr, 'x');
  observation = record("name", nullptr, 'y');
  post("name");
  EXPECT_EQ(calls, "y");
}

TEST_F(NotificationCenterTest, LetsAnObserverRemoveItselfAndOthers) {
  std::optional<Observation> first;
  std::optional<Observation> last;
  first.emplace(observe("name", nullptr, [&](const Notification&) {
    calls += '1';
    last.reset();
    first.reset();
  }));
  const auto middle = record("name", nullptr, '2');
  last.emplace(record("name", nullptr, '3'));
  post("name");
  EXPECT_EQ(calls, "12");
  post("name");
  EXPECT_EQ(calls, "122");
}

TEST_F(NotificationCenterTest, DoesNotCallObserversAddedByAnObserverForThisNotification) {
  std::vector<Observation> added;
  const auto observation = observe("name", nullptr, [&](const Notification&) {
    calls += '1';
    added.push_back(record("name", nullptr, '2'));
  });
  post("name");
  EXPECT_EQ(calls, "1");
  added.resize(1);
  post("name");
  EXPECT_EQ(calls, "112");
}

TEST_F(NotificationCenterTest, LetsAnObserverPost) {
  const auto outer = observe("outer", nullptr, [&](const Notification&) {
    calls += '(';
    post("inner");
    calls += ')';
  });
  const auto inner = record("inner", nullptr, 'i');
  post("outer");
  EXPECT_EQ(calls, "(i)");
}

TEST_F(NotificationCenterTest, RefusesAnEmptyBlock) {
  EXPECT_THROW(std::ignore = observe("name", nullptr, nullptr), std::invalid_argument);
}

TEST_F(NotificationCenterTest, IsTheBoundaryForExceptionsOfAnObserver) {
  const auto observation = observe(
      "name", nullptr, [](const Notification&) { throw std::runtime_error("host's mistake"); });
  testing::ChildProcess child([&] {
    signal(SIGABRT, SIG_DFL);
    post("name");
    return 0;
  });
  EXPECT_EQ(child.wait(), -SIGABRT);
}

TEST_F(NotificationCenterTest, DestroysABlockOutsideItsLock) {
  // The block holds an object whose destructor posts. Destroying it under the center's lock would
  // deadlock.
  const auto witness = record("destroyed", nullptr, 'd');
  auto posting = std::shared_ptr<int>(new int(0), [this](const int* number) {
    post("destroyed");
    delete number;
  });
  auto observation = std::make_optional(
      observe("name", nullptr, [kept = std::move(posting)](const Notification&) {}));
  observation.reset();
  EXPECT_EQ(calls, "d");
}

TEST_F(NotificationCenterTest, IsSafeFromManyThreads) {
  std::atomic<int> count = 0;
  const auto steady = observe("name", nullptr, [&](const Notification&) { ++count; });
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const auto passing = observe("name", nullptr, [&](const Notification&) { ++count; });
        post("name");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GE(count, 4 * 200 * 2);
}

TEST_F(NotificationCenterTest, GoesOnWithOthersWhileAnObserverBlocks) {
  testing::Event entered;
  testing::Event released;
  const auto blocking = observe("slow", nullptr, [&](const Notification&) {
    entered.set();
    EXPECT_TRUE(released.wait());
  });
  std::thread poster([&] { post("slow"); });
  ASSERT_TRUE(entered.wait());
  const auto other = record("quick", nullptr, 'q');
  post("quick");
  EXPECT_EQ(calls, "q");
  released.set();
  poster.join();
}

}  // namespace
}  // namespace orx
