// SPDX-License-Identifier: MIT
#include <ORXAccount/LogHandler.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "allocations/FailingAllocation.h"
#include "platform/process/ForkSafety.h"
#include "platform/queues/Callback.h"
#include "platform/queues/WorkerPool.h"
#include "support/Await.h"
#include "support/ChildProcess.h"

namespace orx::testing {

using namespace platform;
namespace {

using Block = std::function<void()>;

// Counts calls, and tells the thread of each.
struct Calls {
  void operator()() const { threads->put(std::this_thread::get_id()); }
  const std::shared_ptr<Mailbox<std::thread::id>> threads =
      std::make_shared<Mailbox<std::thread::id>>();
};

class Callback : public ::testing::Test {
 protected:
  Callback() { WorkerPool::shared().ensureWorker(); }
  ~Callback() override { setCallbackExecutor({}); }

  // Waits for the one call, which some worker makes, and sees that no second one follows.
  static void expectOneCallElsewhere(const Calls& calls) {
    EXPECT_NE(calls.threads->take(), std::this_thread::get_id());
    EXPECT_EQ(calls.threads->count(), 0U);
  }

  static inline const std::thread::id here = std::this_thread::get_id();
};

TEST_F(Callback, RunsAtOnceWhereItIsReportedWithoutAnExecutor) {
  bool hasRun = false;
  callBack(CallbackKind::Handler, [&] { hasRun = std::this_thread::get_id() == here; });
  EXPECT_TRUE(hasRun);
}

TEST_F(Callback, GoesToTheExecutorThatStandsWhenItIsReported) {
  std::vector<Block> blocks;
  int runs = 0;
  setCallbackExecutor([&](Block block) { blocks.push_back(std::move(block)); });
  callBack(CallbackKind::Handler, [&] { ++runs; });
  EXPECT_EQ(runs, 0);
  ASSERT_EQ(blocks.size(), 1U);
  setCallbackExecutor({});
  callBack(CallbackKind::Handler, [&] { runs += 10; });
  EXPECT_EQ(runs, 10);
  blocks.front()();
  EXPECT_EQ(runs, 11);
}

TEST_F(Callback, OfAChangeGoesThereOnlyWhenTheHostAsks) {
  int handedOver = 0;
  const CallbackExecutor executor = [&](const Block& block) {
    ++handedOver;
    block();
  };
  setCallbackExecutor(executor);
  callBack(CallbackKind::Change, [] {});
  EXPECT_EQ(handedOver, 0);
  setCallbackExecutor(executor, CallbackScope::Everything);
  callBack(CallbackKind::Change, [] {});
  EXPECT_EQ(handedOver, 1);
  callBack(CallbackKind::Own, [] {});
  EXPECT_EQ(handedOver, 1);
}

TEST_F(Callback, RunsOnceThoughTheExecutorCallsItTwice) {
  const Calls calls;
  setCallbackExecutor([](const Block& block) {
    const Block copy = block;
    block();
    copy();
    block();
  });
  callBack(CallbackKind::Handler, calls);
  EXPECT_EQ(calls.threads->take(), here);
  EXPECT_EQ(calls.threads->count(), 0U);
}

TEST_F(Callback, RunsOnceThoughSeveralThreadsCallItAtTheSameTime) {
  Block block;
  setCallbackExecutor([&](Block given) { block = std::move(given); });
  for (int round = 0; round < 100; ++round) {
    std::atomic<int> runs = 0;
    std::atomic<bool> mayRun = false;
    callBack(CallbackKind::Handler, [&] { ++runs; });
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&mayRun, block] {
        while (!mayRun) std::this_thread::yield();
        block();
      });
    }
    mayRun = true;
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(runs, 1);
  }
}

TEST_F(Callback, IsRunByAWorkerWhenTheExecutorDropsIt) {
  const Calls calls;
  setCallbackExecutor([](const Block&) {});
  callBack(CallbackKind::Handler, calls);
  expectOneCallElsewhere(calls);
}

TEST_F(Callback, IsRunByAWorkerWhenTheLoopThatHoldsItEnds) {
  const Calls calls;
  std::vector<Block> loop;
  setCallbackExecutor([&](Block block) { loop.push_back(std::move(block)); });
  callBack(CallbackKind::Handler, calls);
  EXPECT_EQ(calls.threads->count(), 0U);
  loop.clear();
  expectOneCallElsewhere(calls);
}

TEST_F(Callback, IsRunByAWorkerWhenTheExecutorThrows) {
  const Calls calls;
  setCallbackExecutor([](const Block&) { throw std::runtime_error("no"); });
  callBack(CallbackKind::Handler, calls);
  expectOneCallElsewhere(calls);
  setCallbackExecutor([](const Block&) { throw 1; });  // NOLINT(*-exception-baseclass)
  callBack(CallbackKind::Handler, calls);
  expectOneCallElsewhere(calls);
}

TEST_F(Callback, IsNamedInTheLogWhenTheExecutorThrows) {
  std::string line;
  setLogHandler([&](LogLevel level, std::string_view told) {
    EXPECT_EQ(level, LogLevel::Warning);
    line = told;
  });
  const Calls calls;
  setCallbackExecutor([](const Block&) { throw std::runtime_error("no"); });
  callBack(CallbackKind::Handler, calls);
  setLogHandler({});
  EXPECT_NE(line.find("callback executor"), std::string::npos) << line;
  expectOneCallElsewhere(calls);
}

TEST_F(Callback, RunsOnceWhenTheExecutorThrowsAndKeepsItAllTheSame) {
  const Calls calls;
  Block kept;
  setCallbackExecutor([&](Block block) {
    kept = std::move(block);
    throw std::runtime_error("no");
  });
  callBack(CallbackKind::Handler, calls);
  kept();
  kept = nullptr;
  EXPECT_EQ(calls.threads->take(), here);
  EXPECT_EQ(calls.threads->count(), 0U);
}

TEST_F(Callback, RunsOnceWhereThereIsNoMemoryToHandItOver) {
  setCallbackExecutor([](const Block& block) { block(); });
  withEachAllocationFailing([](auto begin, auto end) {
    std::atomic<int> runs = 0;
    Event isGone;
    // What a callback holds is destroyed once it has run.
    auto last = std::shared_ptr<void>(nullptr, [&](void*) { isGone.set(); });
    begin();
    callBack(CallbackKind::Handler, [&runs, last = std::move(last)] { ++runs; });
    end();
    EXPECT_TRUE(isGone.wait());
    EXPECT_EQ(runs, 1);
  });
}

TEST_F(Callback, IsSaidToLackMemoryWhereThereIsNoneToHandItOver) {
  int lines = 0;
  int linesOfMemory = 0;
  setLogHandler([&](LogLevel, std::string_view told) {
    ++lines;
    if (told.find("no memory") != std::string_view::npos) ++linesOfMemory;
  });
  setCallbackExecutor([](const Block& block) { block(); });
  withEachAllocationFailing([](auto begin, auto end) {
    Event isGone;
    auto last = std::shared_ptr<void>(nullptr, [&](void*) { isGone.set(); });
    begin();
    callBack(CallbackKind::Handler, [last = std::move(last)] {});
    end();
    EXPECT_TRUE(isGone.wait());
  });
  setLogHandler({});
  EXPECT_GT(lines, 0);
  EXPECT_EQ(linesOfMemory, lines);
}

TEST_F(Callback, LetsGoOfWhatItHoldsWhereItHasRun) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  Block block;
  setCallbackExecutor([&](Block given) { block = std::move(given); });
  callBack(CallbackKind::Handler, [held = std::move(held)] {});
  EXPECT_FALSE(watched.expired());
  block();
  EXPECT_TRUE(watched.expired());
}

TEST_F(Callback, MaySetAnotherExecutorAndReport) {
  const Calls calls;
  setCallbackExecutor([](const Block& block) { block(); });
  callBack(CallbackKind::Handler, [&] {
    setCallbackExecutor({});
    callBack(CallbackKind::Handler, calls);
  });
  EXPECT_EQ(calls.threads->take(), here);
}

// In a child that is forked beside a busy thread the sanitizers' own locks may stay locked.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST_F(Callback, OfTheParentRunsNotInAChildThatHasACopyOfTheLoop) {
  int runs = 0;
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  std::vector<Block> loop;
  setCallbackExecutor([&](Block block) { loop.push_back(std::move(block)); });
  callBack(CallbackKind::Handler, [&, held = std::move(held)] { ++runs; });
  ChildProcess child([&]() -> int {
    loop.front()();
    loop.clear();
    return runs == 0 && !watched.expired() ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
  loop.front()();
  EXPECT_EQ(runs, 1);
}

#endif

}  // namespace
}  // namespace orx::testing
