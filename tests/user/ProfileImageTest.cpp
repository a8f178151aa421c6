// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountUser.h>

#include "allocations/FailingAllocation.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/queues/DispatchSemaphore.h"
#include "platform/queues/OperationQueue.h"
#include "support/AccountServiceFixture.h"
#include "user/ArchivedClasses.h"

namespace orx {

using namespace platform;
namespace {

using namespace orx::testing;

struct Loaded {
  std::optional<Data> data;
  std::shared_ptr<Error> error;
};

class ProfileImage : public AccountServiceFixture {
 protected:
  static std::shared_ptr<ORVAAccountUser> userFrom(std::string_view country = "TWN") {
    return ORVAAccountUser::initWithUserInfo(Dictionary{{"country", country}, {"pic", "me.png"}});
  }
  static ORVAAccountProfileImageBlock into(const std::shared_ptr<Mailbox<Loaded>>& mailbox) {
    return [mailbox](const std::optional<Data>& data, const std::shared_ptr<Error>& error) {
      mailbox->put({data, error});
    };
  }
  static Loaded load(const std::shared_ptr<ORVAAccountUser>& user) {
    const auto mailbox = std::make_shared<Mailbox<Loaded>>();
    user->loadProfileImageDataWithCompletionBlock(into(mailbox));
    Loaded loaded = mailbox->take();
    EXPECT_NE(loaded.data.has_value(), loaded.error != nullptr);
    return loaded;
  }
};

TEST_F(ProfileImage, ComesFromTheServerOfTheUsersOwnCountry) {
  answerWith("picture");
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  load(userFrom("TWN"));
  ORVAAccountAPI::setTargetServerWithIsCN(false);
  load(userFrom("CHN"));
  const auto requests = server().requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].target, "/utilities/pic.ashx?s=large&f=me.png");
  EXPECT_EQ(requests[0].serverName, kGlobalHost);
  EXPECT_EQ(requests[1].serverName, kChinaHost);
}

TEST_F(ProfileImage, OneRequestServesEveryLoadInTheOrderOfTheCalls) {
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request& /*request*/) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, "picture");
  });
  const auto user = userFrom();
  const auto order = std::make_shared<Mailbox<int>>();
  for (int call = 0; call < 3; ++call) {
    user->loadProfileImageDataWithCompletionBlock(
        [order, call](const std::optional<Data>& data, const std::shared_ptr<Error>& /*error*/) {
          order->put(data == Data("picture") ? call : -1);
        });
  }
  mayAnswer->set();
  for (int call = 0; call < 3; ++call) EXPECT_EQ(order->take(), call);
  EXPECT_EQ(server().requests().size(), 1U);
  EXPECT_EQ(user->profileImageData(), Data("picture"));
}

TEST_F(ProfileImage, StatusesFrom200To299AreSuccess) {
  for (const int status : {200, 204, 206, 299}) {
    const std::string body = status == 204 ? "" : "p";
    answerWith(body, status);
    EXPECT_EQ(load(userFrom()).data, Data(body)) << status;
  }
}

TEST_F(ProfileImage, AnyOtherStatusIsAnErrorWithThatCodeAndText) {
  for (const int status : {199, 300, 304, 404, 500}) {
    answerWith(status == 304 ? "" : "p", status);
    const Loaded loaded = load(userFrom());
    ASSERT_NE(loaded.error, nullptr) << status;
    EXPECT_EQ(loaded.error->domain(), "ORVAAccountUserErrorDomain");
    EXPECT_EQ(loaded.error->code(), status);
    EXPECT_EQ(loaded.error->userInfo(),
              (Dictionary{{"NSLocalizedDescription", "The response is wrong"}}));
  }
}

TEST_F(ProfileImage, AFailureIsTriedAgainByTheNextCall) {
  answerWith("", 404);
  const auto user = userFrom();
  EXPECT_EQ(load(user).error->code(), 404);
  EXPECT_EQ(user->profileImageData(), std::nullopt);
  EXPECT_EQ(user->loadProfileImageTask(), nullptr);
  answerWith("picture");
  EXPECT_EQ(load(user).data, Data("picture"));
  EXPECT_EQ(server().requests().size(), 2U);
}

TEST_F(ProfileImage, ATransferErrorIsPassedOnUnchanged) {
  const Answer whole = Answer::reply(200, std::string(1000, 'p'));
  for (const Answer& answer : {Answer::hangUp(TLSTestServer::End::cut),
                               whole.cutAfter(whole.headSize() + 10, TLSTestServer::End::cut)}) {
    answerWith(answer);
    const auto user = userFrom();
    const Loaded loaded = load(user);
    ASSERT_NE(loaded.error, nullptr);
    EXPECT_EQ(loaded.error->domain(), NSURLErrorDomain);
    EXPECT_EQ(user->profileImageData(), std::nullopt);
  }
}

TEST_F(ProfileImage, EndsWhenItTakesTooLongAsAWholeThoughItMoves) {
  Answer answer = Answer::reply(200, std::string(1'000'000, 'p'));
  answer.pace = std::chrono::milliseconds(1);
  answerWith(answer);
  auto configuration = server().configuration();
  configuration.setTimeoutIntervalForResource(std::chrono::milliseconds(300));
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  const Loaded loaded = load(userFrom());
  ASSERT_NE(loaded.error, nullptr);
  EXPECT_EQ(loaded.error->code(), NSURLErrorTimedOut);
}

TEST_F(ProfileImage, AnEmptyBodyIsAPictureThatIsKept) {
  answerWith("");
  const auto user = userFrom();
  EXPECT_EQ(load(user).data, Data());
  EXPECT_EQ(load(user).data, Data());
  EXPECT_EQ(server().requests().size(), 1U);
}

TEST_F(ProfileImage, AnAbsentCallbackStillFillsTheMemory) {
  answerWith("picture");
  const auto user = userFrom();
  user->loadProfileImageDataWithCompletionBlock(nullptr);
  EXPECT_EQ(load(user).data, Data("picture"));
  EXPECT_EQ(server().requests().size(), 1U);
}

TEST_F(ProfileImage, TextThatMakesNoURLIsReportedOnceWithoutARequest) {
  const auto user = ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "a b\n"}});
  ASSERT_EQ(user->pictureURL(), std::nullopt);
  const auto mailbox = std::make_shared<Mailbox<Loaded>>();
  user->loadProfileImageDataWithCompletionBlock(into(mailbox));
  const Loaded loaded = mailbox->take();
  ASSERT_NE(loaded.error, nullptr);
  EXPECT_EQ(loaded.error->domain(), NSURLErrorDomain);
  EXPECT_EQ(loaded.error->code(), NSURLErrorBadURL);
  EXPECT_EQ(server().connectionCount(), 0U);
  // The record's queue goes on after the error.
  user->setProfileImageData(Data("set"));
  EXPECT_EQ(load(user).data, Data("set"));
  EXPECT_EQ(mailbox->count(), 0U);
}

TEST_F(ProfileImage, TheReportHasReturnedBeforeTheNextLoadBegins) {
  answerWith("", 404);
  const auto user = userFrom();
  const auto gate = std::make_shared<Event>();
  const auto reports = std::make_shared<Mailbox<int>>();
  user->loadProfileImageDataWithCompletionBlock(
      [&, gate, reports](const std::optional<Data>&, const std::shared_ptr<Error>&) {
        EXPECT_TRUE(gate->wait());
        // Wait for a whole load of another record: had this record's next load begun, its request
        // would have arrived by then.
        EXPECT_NE(load(userFrom("TWN")).error, nullptr);
        EXPECT_EQ(server().requests().size(), 2U);
        reports->put(1);
      });
  user->loadProfileImageDataWithCompletionBlock(
      [reports](const std::optional<Data>&, const std::shared_ptr<Error>&) { reports->put(2); });
  static_cast<void>(server().awaitRequests(1));
  gate->set();
  EXPECT_EQ(reports->take(), 1);
  EXPECT_EQ(reports->take(), 2);
  EXPECT_EQ(server().requests().size(), 3U);
}

TEST_F(ProfileImage, RecordsLoadIndependently) {
  const auto slow = std::make_shared<Event>();
  answerBy([slow](const Request& request) {
    if (request.serverName == kChinaHost) {
      EXPECT_TRUE(slow->wait());
    }
    return Answer::reply(200, "picture");
  });
  const auto slowReport = std::make_shared<Mailbox<Loaded>>();
  userFrom("CHN")->loadProfileImageDataWithCompletionBlock(into(slowReport));
  EXPECT_EQ(load(userFrom("TWN")).data, Data("picture"));
  EXPECT_EQ(slowReport->count(), 0U);
  slow->set();
  EXPECT_EQ(slowReport->take().data, Data("picture"));
}

TEST_F(ProfileImage, TheStateOfALoadShowsInTheProperties) {
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request& /*request*/) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, "picture");
  });
  const auto user = userFrom();
  EXPECT_EQ(user->profileImageData(), std::nullopt);
  EXPECT_EQ(user->loadProfileImageTask(), nullptr);
  EXPECT_EQ(user->loadProfileImageSemaphore(), nullptr);
  ASSERT_NE(user->userOperationQueue(), nullptr);
  const auto mailbox = std::make_shared<Mailbox<Loaded>>();
  user->loadProfileImageDataWithCompletionBlock(into(mailbox));
  static_cast<void>(server().awaitRequests(1));
  EXPECT_NE(user->loadProfileImageTask(), nullptr);
  EXPECT_NE(user->loadProfileImageSemaphore(), nullptr);
  mayAnswer->set();
  mailbox->take();
  EXPECT_EQ(user->loadProfileImageTask(), nullptr);
}

TEST_F(ProfileImage, ARecordWithoutAQueueLoadsAllTheSame) {
  answerWith("picture");
  const auto user = userFrom();
  user->setUserOperationQueue(nullptr);
  EXPECT_EQ(load(user).data, Data("picture"));
}

// Whatever allocation fails at the start of a load, it throws and does not report, or it reports.
TEST_F(ProfileImage, ThrowsOrReportsWithoutMemory) {
  answerWith("picture");
  const auto mailbox = std::make_shared<Mailbox<Loaded>>();
  std::shared_ptr<ORVAAccountUser> user;
  failEachAllocation([&] { user = userFrom(); },
                     [&] { user->loadProfileImageDataWithCompletionBlock(into(mailbox)); },
                     [&](bool threw) {
                       if (!threw) mailbox->take();
                       user->loadProfileImageDataWithCompletionBlock(into(mailbox));
                       mailbox->take();
                     });
  EXPECT_EQ(mailbox->count(), 0U);
}

TEST_F(ProfileImage, ARestoredRecordHasNoPicture) {
  answerWith("picture");
  const auto user = userFrom();
  load(user);
  user::registerArchivedClasses();
  const auto restored =
      unarchiveObjectWithData(archivedDataWithRootObject(user)).value().objectOf<ORVAAccountUser>();
  ASSERT_NE(restored, nullptr);
  EXPECT_TRUE(restored->isEqual(user.get()));
  EXPECT_EQ(restored->profileImageData(), std::nullopt);
}

TEST_F(ProfileImage, DidLoadHandsOnToTheBlockAndToleratesNone) {
  const auto user = userFrom();
  const auto mailbox = std::make_shared<Mailbox<Loaded>>();
  user->didLoadProfileImageData_error_completionBlock(Data("x"), nullptr, into(mailbox));
  EXPECT_EQ(mailbox->take().data, Data("x"));
  user->didLoadProfileImageData_error_completionBlock(Data("x"), nullptr, nullptr);
}

TEST_F(ProfileImage, TheRecordLivesUntilItsLoadHasReported) {
  answerWith("picture");
  auto user = userFrom();
  const std::weak_ptr<ORVAAccountUser> watched = user;
  const auto mailbox = std::make_shared<Mailbox<Loaded>>();
  user->loadProfileImageDataWithCompletionBlock(into(mailbox));
  user.reset();
  EXPECT_EQ(mailbox->take().data, Data("picture"));
  EXPECT_TRUE(eventually([&] { return watched.expired(); }));
}

}  // namespace
}  // namespace orx
