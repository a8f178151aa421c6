// SPDX-License-Identifier: MIT
#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <thread>
#include <vector>

#include "support/AccountServiceFixture.h"

// Where picture blocks run.
namespace orx {
namespace {

using namespace orx::testing;

using Block = std::function<void()>;

class PicturesOnAnExecutor : public AccountServiceFixture {
 protected:
  PicturesOnAnExecutor() {
    setCallbackExecutor([loop = loop_](const Block& block) { loop->put(block); });
    answerWith("picture");
  }
  ~PicturesOnAnExecutor() override { setCallbackExecutor({}); }

  void load(int number) {
    user_->loadProfileImageDataWithCompletionBlock(
        [this, number](const std::optional<Data>& data, const std::shared_ptr<Error>&) {
          EXPECT_EQ(data, Data("picture"));
          reports.put({number, std::this_thread::get_id()});
        });
  }

  struct Report {
    int number;
    std::thread::id thread;
  };
  Mailbox<Report> reports;
  const std::shared_ptr<Mailbox<Block>> loop_ = std::make_shared<Mailbox<Block>>();

 private:
  const std::shared_ptr<ORVAAccountUser> user_ =
      ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "me.png"}});
};

TEST_F(PicturesOnAnExecutor, AreReportedThereOneAfterTheOther) {
  for (int number = 0; number < 3; ++number) load(number);
  for (int number = 0; number < 3; ++number) {
    const Block block = loop_->take();
    // No other load of this record goes on before the block of this one has returned.
    EXPECT_EQ(loop_->count(), 0U);
    block();
    const Report report = reports.take();
    EXPECT_EQ(report.number, number);
    EXPECT_EQ(report.thread, std::this_thread::get_id());
  }
  EXPECT_EQ(server().requests().size(), 1U);
}

TEST_F(PicturesOnAnExecutor, GoOnAfterALoopThatHasDroppedTheirBlocks) {
  for (int number = 0; number < 3; ++number) load(number);
  for (int number = 0; number < 3; ++number) {
    loop_->take();
    const Report report = reports.take();
    EXPECT_EQ(report.number, number);
    EXPECT_NE(report.thread, std::this_thread::get_id());
  }
}

TEST_F(PicturesOnAnExecutor, FailThereToo) {
  answerWith("", 404);
  Mailbox<std::int64_t> codes;
  ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "me.png"}})
      ->loadProfileImageDataWithCompletionBlock(
          [&](const auto&, const auto& error) { codes.put(error->code()); });
  const Block block = loop_->take();
  EXPECT_EQ(codes.count(), 0U);
  block();
  EXPECT_EQ(codes.take(), 404);
}

TEST_F(PicturesOnAnExecutor, LetGoThereOfWhatTheBlockHolds) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  Mailbox<bool> isGone;
  // While the library still holds the load.
  setCallbackExecutor([&](const Block& block) {
    block();
    isGone.put(watched.expired());
  });
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request&) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, "picture");
  });
  ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "me.png"}})
      ->loadProfileImageDataWithCompletionBlock([held = std::move(held)](auto&, auto&) {});
  mayAnswer->set();
  EXPECT_TRUE(isGone.take());
}

}  // namespace
}  // namespace orx
