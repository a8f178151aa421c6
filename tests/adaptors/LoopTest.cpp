// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "adaptors/Loops.h"
#include "support/SignInFixture.h"

// The library's callbacks in the loops of other libraries.
namespace orx::testing {
namespace {

class CallbacksIn : public SignInFixture, public ::testing::WithParamInterface<LoopKind> {
 protected:
  CallbacksIn() : loop_(GetParam().make()) {
    setCallbackExecutor(loop_->executor(), CallbackScope::Everything);
    answerWithRecord(R"({"login":"ada"})");
  }
  ~CallbacksIn() override { setCallbackExecutor({}); }

  Loop& loop() { return *loop_; }
  void endLoop() {
    setCallbackExecutor({});
    loop_.reset();
  }

 private:
  std::unique_ptr<Loop> loop_;
};

TEST_P(CallbacksIn, RunOnTheLoopsOwnThread) {
  std::thread::id thread;
  api()->login_completionHandler({}, [&](const auto&, const auto& error) {
    EXPECT_EQ(error, nullptr);
    thread = std::this_thread::get_id();
    loop().quit();
  });
  loop().run();
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_P(CallbacksIn, RunInTheOrderInWhichTheyAreReported) {
  const CallbackExecutor executor = loop().executor();
  std::vector<int> order;
  std::thread reporting([&] {
    for (int i = 0; i < 100; ++i) executor([&order, i] { order.push_back(i); });
    executor([&] { loop().quit(); });
  });
  loop().run();
  reporting.join();
  ASSERT_EQ(order.size(), 100U);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST_P(CallbacksIn, NeverRunInsideTheExecutor) {
  const CallbackExecutor executor = loop().executor();
  bool hasRun = false;
  // Before anybody runs the loop, from this and from another thread, and from a block of it.
  executor([&] { hasRun = true; });
  std::thread([&] { executor([&] { hasRun = true; }); }).join();
  EXPECT_FALSE(hasRun);
  executor([&] {
    hasRun = false;
    executor([&] {
      hasRun = true;
      loop().quit();
    });
    EXPECT_FALSE(hasRun);
  });
  loop().run();
  EXPECT_TRUE(hasRun);
}

TEST_P(CallbacksIn, TellObserversAndThenTheDelegate) {
  std::vector<std::string> told;
  const auto here = std::this_thread::get_id();
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr, [&](const Notification&) {
            EXPECT_EQ(std::this_thread::get_id(), here);
            told.emplace_back("observer");
          });
  class Delegate : public ORVAAccountLoginManagerDelegate {
   public:
    explicit Delegate(std::function<void()> then) : then_(std::move(then)) {}
    void loginManager_didLoginWithUser_error(ORVAAccountLoginManager&,
                                             const std::shared_ptr<ORVAAccountUser>&,
                                             const std::shared_ptr<Error>&) override {
      then_();
    }

   private:
    std::function<void()> then_;
  };
  const auto delegate = std::make_shared<Delegate>([&] {
    EXPECT_EQ(std::this_thread::get_id(), here);
    told.emplace_back("delegate");
    loop().quit();
  });
  manager()->setDelegate(delegate);
  manager()->loginWithParameters(Dictionary{{"login", "ada"}});
  loop().run();
  EXPECT_EQ(told, (std::vector<std::string>{"observer", "delegate"}));
}

TEST_P(CallbacksIn, AreMadeOnceByTheLibraryWhenTheLoopHasEnded) {
  Mailbox<std::thread::id> threads;
  Event handedOver;
  setCallbackExecutor(
      [executor = loop().executor(), &handedOver](const std::function<void()>& block) {
        executor(block);
        handedOver.set();
      });
  api()->login_completionHandler(
      {}, [&](const auto&, const auto&) { threads.put(std::this_thread::get_id()); });
  ASSERT_TRUE(handedOver.wait());
  EXPECT_EQ(threads.count(), 0U);
  endLoop();
  EXPECT_NE(threads.take(), std::this_thread::get_id());
  EXPECT_EQ(threads.count(), 0U);
}

constexpr auto nameOf = [](const auto& given) { return given.param.name; };
INSTANTIATE_TEST_SUITE_P(, CallbacksIn, ::testing::Values(asioLoop(), boostAsioLoop()), nameOf);
// These libraries are not built with the thread sanitizer, which does not see how their loops hand
// a block from one thread to another.
#if !defined(__SANITIZE_THREAD__)
INSTANTIATE_TEST_SUITE_P(OfALibrary, CallbacksIn, ::testing::Values(glibLoop(), qtLoop()), nameOf);
#endif

}  // namespace
}  // namespace orx::testing
