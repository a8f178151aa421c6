// SPDX-License-Identifier: MIT
// Tests of a host's sign-in against the development service. Each test finds the same account, no
// faults and nobody signed in.
#include <ORXAccount/Calls.h>
#include <ORXAccount/DevelopmentService.h>
#include <ORXAccount/ORXAccount.h>
#include <gtest/gtest.h>

namespace {

using namespace orx;

class SignIn : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    service_ = std::make_unique<DevelopmentService>();
    service_->start();
    URLSessionConfiguration configuration;
    configuration.setCaFile(service_->caFile().string());
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    Bundle::mainBundle()->setBundleIdentifier("com.example.host.tests");
    ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        "localhost:" + std::to_string(service_->port()), {}, {}, {});
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "demo-key", "demo-app", false);
  }
  static void TearDownTestSuite() { service_.reset(); }

  void SetUp() override {
    service_->reset();
    service_->addAccounts(R"([{"login": "ada@example.com", "passwd": "correct horse"}])");
    ORVAAccountLoginManager::sharedInstance()->logout();
  }

  // The user's login, or what the sign-in failed with.
  static std::string signIn(const char* password) {
    try {
      const auto user =
          calls::signIn({{kORVAAccountLogin, "ada@example.com"}, {kORVAAccountPassword, password}})
              .future()
              .get();
      return user->login().value_or("");
    } catch (const CallError& error) {
      return error.what();
    }
  }

  static std::unique_ptr<DevelopmentService> service_;
};

std::unique_ptr<DevelopmentService> SignIn::service_;

TEST_F(SignIn, MakesTheUserCurrent) {
  EXPECT_EQ(signIn("correct horse"), "ada@example.com");
  EXPECT_NE(ORVAAccountUser::currentUser(), nullptr);
}

TEST_F(SignIn, SaysThatThePasswordIsWrong) {
  EXPECT_NE(signIn("wrong horse").find("password error"), std::string::npos);
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  EXPECT_EQ(service_->requests().at(0).resultCode, "0");
}

TEST_F(SignIn, CanBeTriedAgainAfterALostAnswer) {
  service_->setFaults(R"([{"match": {"apiId": "w000000011", "nth": 1}, "do": "close"}])");
  EXPECT_NE(signIn("correct horse"), "ada@example.com");
  EXPECT_EQ(signIn("correct horse"), "ada@example.com");
  EXPECT_EQ(service_->requestCount("w000000011"), 2U);
}

}  // namespace
