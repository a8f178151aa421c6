// SPDX-License-Identifier: MIT
// Every operation of the public interface against the development service, on both server sets.
#include <ORXAccount/DevelopmentService.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORXAccount.h>

#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

const Dictionary kAda{{"login", "ada@example.com"},
                      {"passwd", "correct horse"},
                      {"email", "ada@example.com"},
                      {"first_name", "Ada"},
                      {"last_name", "Lovelace"},
                      {"nick_name", "Ada 妮"},
                      {"birthdate", "1985-07-14T08:30:00"},
                      {"mobile", "0912345678"}};

class WholeService : public SignInFixture, public ::testing::WithParamInterface<bool> {
 protected:
  WholeService() {
    service_.start();
    URLSessionConfiguration configuration;
    configuration.setCaFile(service_.caFile().string());
    configuration.setProxy("");
    for (const std::string& host : service_.hosts()) {
      configuration.setConnectTo(host, {"127.0.0.1", static_cast<std::uint16_t>(service_.port())});
    }
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "demo-key", "demo-app", false);
    ORVAAccountLoginManager::setLoginServerIsCN(isChina());
  }

  static bool isChina() { return GetParam(); }
  static std::string host() { return isChina() ? kChinaHost : kGlobalHost; }
  static std::shared_ptr<ORVAAccountAPI> client() {
    return ORVAAccountAPI::initWithOptions({{"AppID", "demo-app"}, {"AppKey", "demo-key"}});
  }
  Value dataOf(const std::function<void(ORVAAccountAPICompletionHandler)>& start) {
    const Report outcome = outcomeOf(start);
    if (!outcome.result) {
      ADD_FAILURE() << outcome.error->localizedDescription();
      return {};
    }
    EXPECT_EQ(outcome.result->resultDescription(), "Success");
    return outcome.result->returnData();
  }
  Value registered(const Dictionary& parameters) {
    return dataOf([&](auto handler) { client()->register_completeHandler(parameters, handler); });
  }
  // The report of a sign-in that succeeds.
  std::shared_ptr<ORVAAccountUser> signedIn() {
    const LoginReport outcome = report();
    EXPECT_EQ(outcome.error, nullptr) << outcome.error->localizedDescription();
    EXPECT_EQ(outcome.user, ORVAAccountUser::currentUser());
    return outcome.user;
  }
  std::shared_ptr<ORVAAccountUser> signedInAsAda() {
    registered(kAda);
    manager()->loginWithParameters(kAda);
    return signedIn();
  }

  DevelopmentService service_;
};

TEST_P(WholeService, RegistersAndSignsInWithAPassword) {
  EXPECT_EQ(registered(kAda), Value(Dictionary{{"cus_id", "C00001001"}}));
  manager()->loginWithParameters(Dictionary{{"login", "ada@example.com"}, {"passwd", "wrong one"}});
  EXPECT_EQ(report().error->code(), 4);
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  manager()->loginWithParameters(kAda);
  const auto user = signedIn();
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(user->login(), "ada@example.com");
  EXPECT_EQ(user->cusID(), "C00001001");
  EXPECT_EQ(user->nickName(), "Ada 妮");
  EXPECT_EQ(user->birthdateString(), "1985-07-14T08:30:00");
  EXPECT_TRUE(user->birthdate());
  manager()->logout();
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  EXPECT_EQ(service_.requestCountOfHost(isChina() ? kGlobalHost : kChinaHost), 0U);
}

TEST_P(WholeService, SignsInWithAnIdentityOfAnotherProvider) {
  manager()->loginOpenIDWithParameters(
      Dictionary{{"openid_type", "lighthouse"}, {"openid_uid", "77"}, {"first_name", "Kai"}});
  EXPECT_EQ(signedIn()->firstName(), "Kai");
  manager()->loginOpenIDWithParameters(Dictionary{{"openid_type", "lighthouse"}});
  EXPECT_EQ(report().error->localizedDescription(), "OpenID Error");
}

TEST_P(WholeService, RegistersAndSignsInOverTheJSONInterfaceOfTheGlobalServer) {
  const Dictionary identity{{"openid_type", "lighthouse"}, {"openid_uid", "88"}};
  manager()->loginOpenIDV2WithParameters(identity);
  EXPECT_EQ(report().error->localizedDescription(), "This account is not registered");
  const Value data = dataOf(
      [&](auto handler) { client()->registerV2WithParameters_completeHandler(identity, handler); });
  EXPECT_EQ((*data.dictionary())["Cus_id"], Value("C00001001"));
  manager()->loginOpenIDV2WithParameters(identity);
  EXPECT_EQ(signedIn()->cusID(), "C00001001");
  EXPECT_EQ(service_.requestCount("/api/OpenIdApi/Login"), 2U);
  EXPECT_EQ(service_.requestCountOfHost(kChinaHost), 0U);
}

TEST_P(WholeService, FetchesUserDataAndSignsInWithATicket) {
  const auto ticket = signedInAsAda()->ticket();
  ASSERT_TRUE(ticket);
  const Value data = dataOf([&](auto handler) {
    client()->getUserData_completionHandler(Dictionary{{"Ticket", *ticket}}, handler);
  });
  ASSERT_NE(data.objectOf<XMLParser>(), nullptr);
  EXPECT_TRUE(data.objectOf<XMLParser>()->parse());
  manager()->logout();
  manager()->loginWithTicket(*ticket);
  const auto user = signedIn();
  EXPECT_EQ(user->login(), "ada@example.com");
  EXPECT_EQ(user->nickName(), "Ada 妮");
  EXPECT_EQ(user->ticket(), *ticket);
  manager()->loginWithTicket("made up");
  const LoginReport refused = report();
  EXPECT_EQ(refused.error->code(), -4);
  EXPECT_EQ(refused.user, user);
}

TEST_P(WholeService, FetchesTheLists) {
  const auto nameOfFirst = [](const Value& list) {
    return list.array() && !list.array()->empty() ? (*(*list.array())[0].dictionary())["name"]
                                                  : Value();
  };
  const Value countries =
      dataOf([](auto handler) { client()->countryListWithCompletionHandler(handler); });
  EXPECT_EQ(countries.array()->size(), 249U);
  EXPECT_EQ(nameOfFirst(countries), Value("Aruba"));
  EXPECT_EQ(dataOf([](auto handler) { client()->educationListWithCompletionHandler(handler); }),
            countries);
  const Value professions =
      dataOf([](auto handler) { client()->professionalListWithCompletionHandler(handler); });
  EXPECT_EQ(nameOfFirst(professions), Value("Administration"));
  const Value education = dataOf([](auto handler) {
    client()->parameterListWithName_completionHandler(kORVAAccountEducation, handler);
  });
  EXPECT_EQ(nameOfFirst(education), Value("Elementary school"));
}

TEST_P(WholeService, OpensAWebSession) {
  const auto ticket = signedInAsAda()->ticket();
  const Value address = dataOf([&](auto handler) {
    client()->apToWebSSOWithParameters_completionHandler(Dictionary{{"ticket", *ticket}}, handler);
  });
  ASSERT_NE(address.string(), nullptr);
  EXPECT_TRUE(address.string()->starts_with("https://" + host() + "/sso/")) << *address.string();
}

TEST_P(WholeService, CallsWhatHasNoOperationOfItsOwn) {
  const Value data = dataOf([](auto handler) {
    client()->commonWithApiId_parameters_completionHandler(
        "w000000015", Dictionary{{"login", "free@example.com"}}, handler);
  });
  EXPECT_EQ(data, Value(Dictionary{{"login", "free@example.com"}, {"available", true}}));
}

TEST_P(WholeService, LoadsThePictureFromTheServerOfTheUsersCountry) {
  Dictionary wei = kAda;
  wei.set("country", "CHN");
  registered(wei);
  manager()->loginWithParameters(wei);
  const auto user = signedIn();
  const std::size_t before = service_.requestCountOfHost(kChinaHost);
  Mailbox<std::optional<Data>> pictures;
  for (int load = 0; load < 2; ++load) {
    user->loadProfileImageDataWithCompletionBlock(
        [&pictures](const std::optional<Data>& data, const std::shared_ptr<Error>& error) {
          EXPECT_EQ(error, nullptr);
          pictures.put(data);
        });
  }
  const auto picture = pictures.take();
  ASSERT_TRUE(picture);
  EXPECT_GT(picture->size(), 100U);
  EXPECT_EQ(pictures.take(), picture);
  EXPECT_EQ(service_.requestCountOfHost(kChinaHost), before + 1);
  EXPECT_EQ(service_.requestCount("/utilities/pic.ashx"), 1U);
}

TEST_P(WholeService, BringsTheUserBackAtTheNextStart) {
  const auto user = signedInAsAda();
  const auto restored = ORVAAccountUserCache::sharedInstance()->cachedUser();
  ASSERT_NE(restored, nullptr);
  EXPECT_TRUE(restored->isEqual(user.get()));
  manager()->logout();
  EXPECT_EQ(ORVAAccountUserCache::sharedInstance()->cachedUser(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(, WholeService, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "China" : "Global"; });

}  // namespace
}  // namespace orx
