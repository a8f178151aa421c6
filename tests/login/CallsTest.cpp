// SPDX-License-Identifier: MIT
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <functional>
#include <future>
#include <stdexcept>
#include <vector>

#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

template <typename T>
T await(std::future<T> future) {
  if (future.wait_for(patience) != std::future_status::ready) {
    throw std::runtime_error("the future did not come in time");
  }
  return future.get();
}

class Calls : public SignInFixture {
 protected:
  // Each sign-in is answered with the login that it sends.
  void answerWithTheLoginSent() {
    answerBy([](const Request& request) {
      const std::string login = between(request.body, R"("login":")", "\"");
      return Answer::reply(
          200, soapAnswer(resultBlock("1", "OK", "Json", R"([{"login":")" + login + R"("}])")));
    });
  }
};

TEST_F(Calls, GiveTheUserOfASignInAsAFuture) {
  answerWithRecord(R"({"login":"ada"})");
  const auto user = await(calls::signIn({{"login", "ada"}}).future());
  EXPECT_EQ(user->login(), "ada");
  EXPECT_EQ(user, ORVAAccountUser::currentUser());
  EXPECT_EQ(delegate().reports.count(), 0U);
}

TEST_F(Calls, ThrowARefusalWithDomainCodeAndText) {
  answerWithRefusal("password error");
  auto future = calls::signIn({{"login", "ada"}}).future();
  // Kept to the end: which thread lets the exception go last, the C++ library alone knows, and a
  // sanitizer would take the end of the error for a race with the readings here.
  std::shared_ptr<Error> error;
  try {
    await(std::move(future));
  } catch (const CallError& refusal) {
    error = refusal.error();
    EXPECT_EQ(refusal.domain(), kORVAAccountErrorDomain);
    EXPECT_EQ(refusal.code(), kORVAAccountErrorPassword);
    EXPECT_STREQ(refusal.what(), "password error");
  }
  ASSERT_NE(error, nullptr) << "no refusal came";
  EXPECT_EQ(error->localizedDescription(), "password error");
}

TEST_F(Calls, GiveARefusalAsAValueWhenAsked) {
  signIn("before");
  answerWithRefusal("password error");
  const auto outcome = await(calls::signIn({{"login", "ada"}}).orError().future());
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->code(), kORVAAccountErrorPassword);
  EXPECT_EQ(outcome.value, nullptr);
  answerWithRecord(R"({"login":"ada"})");
  const auto success = await(calls::signIn({{"login", "ada"}}).orError().future());
  EXPECT_EQ(success.error, nullptr);
  EXPECT_EQ(success.value->login(), "ada");
}

// The first is announced only once the second is current, so that its report names the second.
TEST_F(Calls, TellSignInsApartThatOvertakeEachOther) {
  Event isSecondCurrent;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr, [&](const Notification& notification) {
            const auto user =
                notification.userInfo()[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>();
            if (user->login() == "second") isSecondCurrent.set();
            const bool mayGoOn = user->login() != "first" || isSecondCurrent.wait();
            EXPECT_TRUE(mayGoOn);
          });
  answerWithTheLoginSent();
  auto first = calls::signIn({{"login", "first"}}).future();
  ASSERT_TRUE(eventually([] {
    const auto current = ORVAAccountUser::currentUser();
    return current && current->login() == "first";
  }));
  auto second = calls::signIn({{"login", "second"}}).future();
  EXPECT_EQ(await(std::move(second))->login(), "second");
  EXPECT_EQ(await(std::move(first))->login(), "first");
  EXPECT_EQ(ORVAAccountUser::currentUser()->login(), "second");
}

TEST_F(Calls, TellAFailedSignInFromOneThatSucceedsAtTheSameTime) {
  answerBy([](const Request& request) {
    const bool isGood = request.body.find("good") != std::string::npos;
    return Answer::reply(200,
                         soapAnswer(isGood ? resultBlock("1", "OK", "Json", R"([{"login":"good"}])")
                                           : resultBlock("0", "password error", "", std::nullopt)));
  });
  auto bad = calls::signIn({{"login", "bad"}}).orError().future();
  auto good = calls::signIn({{"login", "good"}}).orError().future();
  EXPECT_NE(await(std::move(bad)).error, nullptr);
  EXPECT_EQ(await(std::move(good)).value->login(), "good");
}

TEST_F(Calls, CoverSignInsWithIdentitiesAndTickets) {
  answerWithRecord(R"({"login":"ada"})");
  EXPECT_EQ(await(calls::signInWithOpenID({{"openid_uid", "1"}}).future())->login(), "ada");
  answerWith(R"({"Status":0,"Result":{"Login":"kai"}})");
  EXPECT_EQ(await(calls::signInWithOpenIDV2({{"openid_uid", "1"}}).future())->login(), "kai");
  answerWith(
      soapAnswer(resultBlock("0", "OK", "XmlString", xmlEscaped("<r><login>eve</login></r>"))));
  const auto user = await(calls::signInWithTicket("t1").future());
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(user->login(), "eve");
  EXPECT_EQ(user->ticket(), "t1");
}

TEST_F(Calls, GiveNobodyWhereATicketIsAnsweredWithoutXML) {
  signIn("before");
  answerWith(soapAnswer(resultBlock("0", "OK", "Text", "plain")));
  EXPECT_EQ(await(calls::signInWithTicket("t1").future()), nullptr);
  EXPECT_EQ(ORVAAccountUser::currentUser()->login(), "before");
}

TEST_F(Calls, ThrowAtOnceWhatTheOperationThrows) {
  EXPECT_THROW((void)calls::signIn({{"login", Data("x")}}).future(), std::invalid_argument);
  EXPECT_THROW((void)calls::login(api(), {{"login", Data("x")}}).future(), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
}

TEST_F(Calls, DoNothingBeforeTheyAreStarted) {
  {
    const auto unused = calls::signIn({{"login", "ada"}});
    const auto other = calls::countryList(api());
  }
  EXPECT_EQ(server().connectionCount(), 0U);
}

TEST_F(Calls, LetGoOfEverythingWhenTheFutureIsDropped) {
  answerWithTheLoginSent();
  const auto object = std::make_shared<Object>();
  const std::weak_ptr<Object> watched = object;
  Event isReported;
  calls::signIn({{"login", "ada"}}).start([object, &isReported](const auto& outcome) {
    EXPECT_EQ(outcome.value->login(), "ada");
    isReported.set();
  });
  ASSERT_TRUE(isReported.wait());
  (void)calls::signIn({{"login", "bob"}}).future();
  EXPECT_TRUE(eventually([] {
    const auto current = ORVAAccountUser::currentUser();
    return current && current->login() == "bob";
  }));
  EXPECT_TRUE(eventually([&] { return watched.use_count() == 1; }));
}

// Each operation, started by itself and as a call.
struct Pair {
  std::function<void(ORVAAccountAPI&, ORVAAccountAPICompletionHandler)> operation;
  calls::ResultCall call;
};

std::vector<Pair> everyOperation(const std::shared_ptr<ORVAAccountAPI>& api) {
  static const Dictionary given{{"login", "ada"}};
  using Client = ORVAAccountAPI;
  using Handler = ORVAAccountAPICompletionHandler;
  const auto with = [](void (Client::*operation)(const Dictionary&, Handler)) {
    return [=](Client& client, Handler handler) { (client.*operation)(given, std::move(handler)); };
  };
  return {
      {[](Client& client, Handler handler) {
         client.commonWithApiId_parameters_completionHandler("w1", given, std::move(handler));
       },
       calls::common(api, "w1", given)},
      {with(&Client::register_completeHandler), calls::registerAccount(api, given)},
      {with(&Client::login_completionHandler), calls::login(api, given)},
      {with(&Client::loginOpenID_completionHandler), calls::loginOpenID(api, given)},
      {with(&Client::apToWebSSOWithParameters_completionHandler), calls::apToWebSSO(api, given)},
      {with(&Client::registerV2WithParameters_completeHandler), calls::registerV2(api, given)},
      {with(&Client::loginOpenIDV2WithParameters_completionHandler),
       calls::loginOpenIDV2(api, given)},
      {with(&Client::getUserData_completionHandler), calls::getUserData(api, given)},
      {[](Client& client, Handler handler) {
         client.parameterListWithName_completionHandler("colour", std::move(handler));
       },
       calls::parameterList(api, "colour")},
      {std::mem_fn(&Client::countryListWithCompletionHandler), calls::countryList(api)},
      {std::mem_fn(&Client::educationListWithCompletionHandler), calls::educationList(api)},
      {std::mem_fn(&Client::professionalListWithCompletionHandler), calls::professionalList(api)},
  };
}

TEST_F(Calls, SendAndGiveWhatTheOperationsOfTheClientDo) {
  answerWith(soapAnswer(resultBlock("0", "refused", "Json", "[]")));
  for (Pair& pair : everyOperation(api())) {
    const Report report = outcomeOf([&](auto handler) { pair.operation(*api(), handler); });
    const auto outcome = await(std::move(pair.call).orError().future());
    const auto requests = server().requests();
    const Request& sent = requests.back();
    const Request& expected = requests[requests.size() - 2];
    EXPECT_EQ(sent.target, expected.target);
    EXPECT_EQ(sent.body, expected.body);
    EXPECT_EQ(outcome.value != nullptr, report.result != nullptr);
    ASSERT_EQ(outcome.error != nullptr, report.error != nullptr);
    EXPECT_TRUE(!outcome.error || outcome.error->isEqual(report.error.get()));
  }
}

TEST_F(Calls, LoadThePictureOfAUser) {
  const auto user = ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "/p.png"}});
  answerWith("the picture");
  EXPECT_EQ(await(calls::profileImageData(user).future()).text(), "the picture");
  const auto other = ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "/q.png"}});
  answerWith("", 404);
  const auto outcome = await(calls::profileImageData(other).orError().future());
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->code(), 404);
}

}  // namespace
}  // namespace orx
