// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <algorithm>
#include <array>
#include <latch>
#include <stdexcept>
#include <thread>

#include "support/ChildProcess.h"
#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

enum class Kind { Password, OpenID };

// Password and OpenID sign-in differ in the operation alone, so each test runs over both.
class LoginManager : public SignInFixture, public ::testing::WithParamInterface<Kind> {
 protected:
  void login(const Dictionary& parameters = {{"login", "a"}}) {
    if (GetParam() == Kind::OpenID) {
      manager()->loginOpenIDWithParameters(parameters);
    } else {
      manager()->loginWithParameters(parameters);
    }
  }
};

TEST_P(LoginManager, ASuccessMakesTheUserCurrentAndReportsIt) {
  answerWithRecord(R"({"login":"a","n":7})");
  login(Dictionary{{"login", "a"}, {"passwd", "p"}});
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.manager, manager().get());
  EXPECT_EQ(outcome.error, nullptr);
  ASSERT_NE(outcome.user, nullptr);
  EXPECT_EQ(outcome.user, ORVAAccountUser::currentUser());
  EXPECT_EQ(outcome.user->userInfo(), (Dictionary{{"login", "a"}, {"n", 7}}));
  const Request request = onlyRequest();
  EXPECT_EQ(between(request.body, "<AppID>", "</AppID>"), "my-app");
  EXPECT_EQ(between(request.body, "<AppKey>", "</AppKey>"), "my-key");
  EXPECT_EQ(between(request.body, "<ApiID>", "</ApiID>"),
            GetParam() == Kind::OpenID ? "w000000019" : "w000000011");
  EXPECT_EQ(between(request.body, "<ParaJson>", "</ParaJson>"), R"({"login":"a","passwd":"p"})");
}

TEST_P(LoginManager, ObserversLearnOfTheUserBeforeTheDelegate) {
  std::size_t reportsAtNotification = 99;
  std::shared_ptr<ORVAAccountUser> announced;
  std::thread::id observerThread;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, ORVAAccountUser::classObject(),
          [&](const Notification& notification) {
            reportsAtNotification = delegate().reports.count();
            announced =
                notification.userInfo()[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>();
            EXPECT_EQ(notification.userInfo().find(ORVAAccountUserChangeOldKey), nullptr);
            EXPECT_EQ(ORVAAccountUser::currentUser(), announced);
          });
  answerWithRecord(R"({"login":"a"})");
  login();
  EXPECT_EQ(report().user, announced);
  EXPECT_EQ(reportsAtNotification, 0U);
}

TEST_P(LoginManager, AFailureReportsTheUserFromBeforeTogetherWithTheError) {
  const auto before = signIn("first");
  answerWithRefusal("password error");
  login();
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.user, before);
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->code(), 4);
  EXPECT_EQ(ORVAAccountUser::currentUser(), before);
}

TEST_P(LoginManager, AFailureWithNobodySignedInReportsNobody) {
  answerWithRefusal("password error");
  login();
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.user, nullptr);
  EXPECT_EQ(outcome.error->localizedDescription(), "password error");
}

TEST_P(LoginManager, ATransferErrorIsReportedUnchanged) {
  answerWith(Answer::hangUp(TLSTestServer::End::cut));
  login();
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.error->domain(), NSURLErrorDomain);
  EXPECT_EQ(outcome.user, nullptr);
}

TEST_P(LoginManager, ASuccessWithoutADelegateStillReplacesTheUserAndIsAnnounced) {
  dropDelegate();
  Mailbox<std::shared_ptr<ORVAAccountUser>> announced;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr, [&](const Notification& notification) {
            announced.put(
                notification.userInfo()[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>());
          });
  answerWithRecord(R"({"login":"a"})");
  login();
  const auto user = announced.take();
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
}

TEST_P(LoginManager, NullDataMakesARecordWithoutFieldsCurrent) {
  for (const std::string_view data : {"[]", "not json", "[null]", "[\"text\"]", "[[1]]"}) {
    answerWith(soapAnswer(resultBlock("1", "OK", "Json", data)));
    login();
    const LoginReport outcome = report();
    EXPECT_EQ(outcome.error, nullptr);
    ASSERT_NE(outcome.user, nullptr) << data;
    EXPECT_EQ(outcome.user->userInfo(), std::nullopt);
  }
}

TEST_P(LoginManager, MissingCredentialsThrowAndSendNothing) {
  const auto& account = ORVAAccount::sharedInstance();
  account->setAppKey(std::nullopt);
  EXPECT_THROW(login(), std::invalid_argument);
  account->setAppKey("k");
  account->setAppID(std::nullopt);
  EXPECT_THROW(login(), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
  EXPECT_EQ(delegate().reports.count(), 0U);
}

TEST_P(LoginManager, ParametersThatCannotBeSentThrowAndSendNothing) {
  EXPECT_THROW(login(Dictionary{{"a", Data("x")}}), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
  EXPECT_EQ(delegate().reports.count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, LoginManager, ::testing::Values(Kind::Password, Kind::OpenID),
                         [](const auto& row) {
                           return row.param == Kind::OpenID ? "OpenID" : "Password";
                         });

class Manager : public SignInFixture {};

// Without the fixture, which uses the instance first. A child of its own for each round, so that
// every round is a first use.
TEST(ManagerBeforeItsFirstUse, SharedInstanceIsOneForThreadsThatMeetInTheFirstUse) {
  constexpr std::ptrdiff_t count = 8;
  for (int round = 0; round < 40; ++round) {
    ChildProcess child([] {
      std::latch start{count};
      std::array<const ORVAAccountLoginManager*, count> seen{};
      std::vector<std::thread> threads;
      threads.reserve(count);
      for (auto& own : seen) {
        threads.emplace_back([&] {
          start.arrive_and_wait();
          own = ORVAAccountLoginManager::sharedInstance().get();
        });
      }
      for (std::thread& thread : threads) thread.join();
      const auto* one = ORVAAccountLoginManager::sharedInstance().get();
      return std::ranges::count(seen, one) == count ? 0 : 1;
    });
    ASSERT_EQ(child.wait(), 0) << "round " << round;
  }
}

TEST_F(Manager, TheServerFlagIsTheClients) {
  ORVAAccountLoginManager::setLoginServerIsCN(true);
  EXPECT_TRUE(ORVAAccountLoginManager::loginServerIsCN());
  EXPECT_TRUE(ORVAAccountAPI::targetServerIsCN());
  ORVAAccountAPI::setTargetServerWithIsCN(false);
  EXPECT_FALSE(ORVAAccountLoginManager::loginServerIsCN());
}

TEST_F(Manager, TheFlagLeadsSignInsToTheChinaServer) {
  ORVAAccountLoginManager::setLoginServerIsCN(true);
  signIn("a");
  EXPECT_EQ(onlyRequest().serverName, kChinaHost);
}

TEST_F(Manager, ADelegateWithoutTheOperationIsHarmless) {
  class Silent : public ORVAAccountLoginManagerDelegate {};
  const auto silent = std::make_shared<Silent>();
  manager()->setDelegate(silent);
  EXPECT_EQ(manager()->delegate(), silent);
  Mailbox<bool> announced;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr,
          [&](const Notification& /*notification*/) { announced.put(true); });
  answerWithRecord(R"({"login":"a"})");
  manager()->loginWithParameters(Dictionary());
  EXPECT_TRUE(announced.take());
  EXPECT_EQ(delegate().reports.count(), 0U);
}

template <typename M>
constexpr bool kTakesATemporaryDelegate = requires(M& manager) {
  manager.setDelegate(std::make_shared<RecordingDelegate>());
};
template <typename M>
constexpr bool kTakesAKeptDelegate = requires(M& manager,
                                              const std::shared_ptr<RecordingDelegate>& kept) {
  manager.setDelegate(kept);
  manager.setDelegate(std::weak_ptr(kept));
  manager.setDelegate({});
};

TEST_F(Manager, ADelegateThatNobodyElseHoldsIsRefusedWhenItIsCompiled) {
  static_assert(!kTakesATemporaryDelegate<ORVAAccountLoginManager>);
  static_assert(kTakesAKeptDelegate<ORVAAccountLoginManager>);
}

TEST_F(Manager, ADelegateThatIsGoneIsNotCalled) {
  // Counts outside itself, so that a call is seen even after the host has let go of it.
  class Counting : public ORVAAccountLoginManagerDelegate {
   public:
    explicit Counting(int& calls) : calls_(calls) {}
    void loginManager_didLoginWithUser_error(ORVAAccountLoginManager&,
                                             const std::shared_ptr<ORVAAccountUser>&,
                                             const std::shared_ptr<Error>&) override {
      ++calls_;
    }

   private:
    int& calls_;
  };
  int calls = 0;
  auto counting = std::make_shared<Counting>(calls);
  manager()->setDelegate(counting);
  manager()->didLoginWithUser_error(nullptr, nullptr);
  EXPECT_EQ(calls, 1);
  counting.reset();
  manager()->didLoginWithUser_error(nullptr, nullptr);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(manager()->delegate(), nullptr);
}

TEST_F(Manager, DidLoginHandsBothOnToTheDelegate) {
  const auto user = ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "x"}});
  const auto error = Error::errorWithDomain_code_userInfo("d", 3, {});
  manager()->didLoginWithUser_error(user, error);
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.manager, manager().get());
  EXPECT_EQ(outcome.user, user);
  EXPECT_EQ(outcome.error, error);
}

TEST_F(Manager, SignInsThatOverlapReportEachWithTheUserOfItsMoment) {
  Event firstMayAnswer;
  answerBy([&](const Request& request) {
    const bool isFirst = request.body.find("\"first\"") != std::string::npos;
    if (isFirst) {
      EXPECT_TRUE(firstMayAnswer.wait());
    }
    return Answer::reply(
        200, soapAnswer(resultBlock(isFirst ? "0" : "1", "words", "", R"([{"login":"second"}])")));
  });
  manager()->loginWithParameters(Dictionary{{"login", "first"}});
  manager()->loginWithParameters(Dictionary{{"login", "second"}});
  const LoginReport second = report();
  EXPECT_EQ(second.error, nullptr);
  EXPECT_EQ(second.user->login(), "second");
  firstMayAnswer.set();
  const LoginReport first = report();
  EXPECT_NE(first.error, nullptr);
  EXPECT_EQ(first.user, second.user);
}

TEST_F(Manager, LogoutSignsOutWithoutARequestOrAReport) {
  const auto user = signIn("a");
  const std::size_t requests = server().requests().size();
  Mailbox<Dictionary> changes;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr,
          [&](const Notification& notification) { changes.put(notification.userInfo()); });
  manager()->logout();
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  const Dictionary change = changes.take();
  EXPECT_EQ(change.size(), 1U);
  EXPECT_EQ(change[ORVAAccountUserChangeOldKey].object(), user);
  EXPECT_EQ(server().requests().size(), requests);
  EXPECT_EQ(delegate().reports.count(), 0U);
}

TEST_F(Manager, LogoutWithNobodySignedInChangesNothing) {
  Mailbox<bool> changes;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr,
          [&](const Notification& /*notification*/) { changes.put(true); });
  manager()->logout();
  EXPECT_EQ(changes.count(), 0U);
  EXPECT_EQ(delegate().reports.count(), 0U);
}

TEST_F(Manager, TheDelegateMaySignOutAndStartTheNextSignIn) {
  class Chaining : public RecordingDelegate {
   public:
    void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                             const std::shared_ptr<ORVAAccountUser>& user,
                                             const std::shared_ptr<Error>& error) override {
      if (reports.count() == 0) {
        manager.logout();
        manager.loginWithParameters(Dictionary{{"login", "again"}});
        reports.put({&manager, user, error});
        return;
      }
      done.put(ORVAAccountUser::currentUser() == user);
    }
    Mailbox<bool> done;
  };
  const auto chaining = std::make_shared<Chaining>();
  manager()->setDelegate(chaining);
  answerWithRecord(R"({"login":"a"})");
  manager()->loginWithParameters(Dictionary());
  EXPECT_TRUE(chaining->done.take());
  EXPECT_EQ(chaining->reports.take().user->login(), "a");
}

// The OpenID V2 interface writes field names with a capital.
class LoginManagerV2 : public SignInFixture {
 protected:
  std::shared_ptr<ORVAAccountUser> userFrom(const std::string& result) {
    answerWith(R"({"Status":0,"Message":"ok","Result":)" + result + "}");
    manager()->loginOpenIDV2WithParameters(Dictionary{{"openid_uid", "u"}});
    const LoginReport outcome = report();
    EXPECT_EQ(outcome.error, nullptr);
    return outcome.user;
  }
};

TEST_F(LoginManagerV2, FirstLettersOfKeysBecomeLowerCase) {
  EXPECT_EQ(userFrom(R"({"Login":"a","Email":"b","ticket":"t"})")->userInfo(),
            (Dictionary{{"login", "a"}, {"email", "b"}, {"ticket", "t"}}));
  EXPECT_EQ(userFrom(R"({"Cus_id":1,"EMail":2,"URL":3,"_x":4,"1a":5})")->userInfo(),
            (Dictionary{{"cus_id", 1}, {"eMail", 2}, {"uRL", 3}, {"_x", 4}, {"1a", 5}}));
}

TEST_F(LoginManagerV2, TheRuleCountsUTF16Units) {
  EXPECT_EQ(userFrom(R"({"Élan":1,"\u0130x":2,"\ud801\udc00Z":3})")->userInfo(),
            (Dictionary{{"élan", 1}, {"i\xcc\x87x", 2}, {"\xf0\x90\x90\x80Z", 3}}));
}

TEST_F(LoginManagerV2, TheLaterOfTwoKeysThatCollideWins) {
  EXPECT_EQ(userFrom(R"({"Email":"1","email":"2"})")->userInfo(), (Dictionary{{"email", "2"}}));
  EXPECT_EQ(userFrom(R"({"email":"2","Email":"1"})")->userInfo(), (Dictionary{{"email", "1"}}));
}

TEST_F(LoginManagerV2, AnEmptyKeyStaysAsItIs) {
  EXPECT_EQ(userFrom(R"({"":1,"A":2})")->userInfo(), (Dictionary{{"", 1}, {"a", 2}}));
}

TEST_F(LoginManagerV2, ValuesAreNotTouched) {
  EXPECT_EQ(userFrom(R"({"A":{"B":1},"C":"D","E":null})")->userInfo(),
            (Dictionary{{"a", Dictionary{{"B", 1}}}, {"c", "D"}, {"e", nullptr}}));
}

TEST_F(LoginManagerV2, AResultThatIsNoObjectMakesARecordWithAnEmptyDictionary) {
  for (const std::string result : {"null", "[]", "\"x\"", "7"}) {
    EXPECT_EQ(userFrom(result)->userInfo(), Dictionary()) << result;
  }
}

TEST_F(LoginManagerV2, AFailureKeepsTheCurrentUser) {
  const auto before = signIn("first");
  answerWith("{}", 401);
  manager()->loginOpenIDV2WithParameters(Dictionary());
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.user, before);
  EXPECT_EQ(outcome.error->domain(), "ORVAAccountAPIErrorDomain");
  EXPECT_EQ(outcome.error->code(), 401);
}

TEST_F(LoginManagerV2, MissingCredentialsThrowAndSendNothing) {
  ORVAAccount::sharedInstance()->setAppID(std::nullopt);
  EXPECT_THROW(manager()->loginOpenIDV2WithParameters(Dictionary()), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
}

TEST_F(LoginManagerV2, EmptyParametersAreSentAsTheCredentialsAlone) {
  answerWith(R"({"Status":0,"Result":{}})");
  manager()->loginOpenIDV2WithParameters({});
  EXPECT_EQ(report().error, nullptr);
  EXPECT_EQ(onlyRequest().body, R"({"AppID":"my-app","AppKey":"my-key"})");
}

}  // namespace
}  // namespace orx
