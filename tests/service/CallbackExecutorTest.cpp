// SPDX-License-Identifier: MIT
#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/WorkerHandler.h>

#include <thread>

#include "support/AccountServiceFixture.h"
#include "support/Operations.h"

// Where completion handlers run.
namespace orx {
namespace {

using namespace orx::testing;

// Hands what it is given to the test's thread, which runs it.
class CallsOnAnExecutor : public AccountServiceFixture,
                          public ::testing::WithParamInterface<Operation> {
 protected:
  CallsOnAnExecutor() {
    setCallbackExecutor([loop = loop_](const std::function<void()>& block) { loop->put(block); });
    answerWith(usualAnswer());
  }
  ~CallsOnAnExecutor() override { setCallbackExecutor({}); }

  static Answer usualAnswer() {
    return Answer::reply(200, soapAnswer(resultBlock("1", "OK", "Json", R"([{"login":"a"}])")));
  }
  void start(const ORVAAccountAPICompletionHandler& handler) const {
    GetParam().start(*api(), {}, handler);
  }
  void runOne() const { loop_->take()(); }
  std::size_t waiting() const { return loop_->count(); }

 private:
  const std::shared_ptr<Mailbox<std::function<void()>>> loop_ =
      std::make_shared<Mailbox<std::function<void()>>>();
};

TEST_P(CallsOnAnExecutor, ReportThereOnce) {
  int reports = 0;
  std::thread::id thread;
  start([&](const auto& result, const auto& error) {
    EXPECT_NE(result == nullptr, error == nullptr);
    thread = std::this_thread::get_id();
    ++reports;
  });
  runOne();
  EXPECT_EQ(reports, 1);
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_EQ(waiting(), 0U);
}

TEST_P(CallsOnAnExecutor, ReportATransfersFailureThere) {
  answerWith(Answer::hangUp(TLSTestServer::End::cut));
  int reports = 0;
  start([&](const auto& result, const auto& error) {
    EXPECT_NE(result == nullptr, error == nullptr);
    ++reports;
  });
  runOne();
  EXPECT_EQ(reports, 1);
}

TEST_P(CallsOnAnExecutor, LetGoThereOfWhatTheHandlerHolds) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  Mailbox<bool> isGone;
  // While the library still holds the call.
  setCallbackExecutor([&](const std::function<void()>& block) {
    block();
    isGone.put(watched.expired());
  });
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request&) {
    EXPECT_TRUE(mayAnswer->wait());
    return usualAnswer();
  });
  start([held = std::move(held)](const auto&, const auto&) {});
  mayAnswer->set();
  EXPECT_TRUE(isGone.take());
}

TEST_P(CallsOnAnExecutor, StayOnAWorkerForAHandlerThatOnlyPassesTheOutcomeOn) {
  Mailbox<std::thread::id> threads;
  start(WorkerHandler([&](const auto&, const auto&) { threads.put(std::this_thread::get_id()); }));
  EXPECT_NE(threads.take(), std::this_thread::get_id());
  EXPECT_EQ(waiting(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, CallsOnAnExecutor,
                         ::testing::Values(kRegister, kLogin, kLoginOpenID, kCommon, kWebSSO,
                                           kUserData, kRegisterV2, kLoginV2, kList),
                         nameOf);

class UserDataOnAnExecutor : public CallsOnAnExecutor {};

TEST_P(UserDataOnAnExecutor, KeepsItsTaskUntilTheHandlerHasReturned) {
  std::size_t tasks = 0;
  start([&](const auto&, const auto&) { tasks = api()->parsingTasks()->size(); });
  runOne();
  EXPECT_EQ(tasks, 1U);
  EXPECT_TRUE(api()->parsingTasks()->empty());
}

INSTANTIATE_TEST_SUITE_P(, UserDataOnAnExecutor, ::testing::Values(kUserData), nameOf);

}  // namespace
}  // namespace orx
