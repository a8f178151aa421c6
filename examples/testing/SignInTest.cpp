// Tests of a host's sign-in against the development service. Each test finds the same account, no
// faults and nobody signed in.
#include <ORXAccount/DevelopmentService.h>
#include <ORXAccount/ORXAccount.h>
#include <gtest/gtest.h>

#include <future>

namespace {

using namespace orx;

// What a sign-in reported: the user's login, else the error.
class Report : public ORVAAccountLoginManagerDelegate {
 public:
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager&,
                                           const std::shared_ptr<ORVAAccountUser>& user,
                                           const std::shared_ptr<Error>& error) override {
    said_.set_value(error ? error->localizedDescription() : user->login().value_or(""));
  }
  std::string text() { return said_.get_future().get(); }

 private:
  std::promise<std::string> said_;
};

class SignIn : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    service_ = std::make_unique<DevelopmentService>();
    service_->start();
    URLSessionConfiguration configuration;
    configuration.setCaFile(service_->caFile().string());
    for (const std::string& host : service_->hosts()) {
      configuration.setConnectTo(host, {"127.0.0.1", static_cast<std::uint16_t>(service_->port())});
    }
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    Bundle::mainBundle()->setBundleIdentifier("com.example.host.tests");
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "demo-key", "demo-app", false);
  }
  static void TearDownTestSuite() { service_.reset(); }

  void SetUp() override {
    service_->reset();
    service_->addAccounts(R"([{"login": "ada@example.com", "passwd": "correct horse"}])");
    ORVAAccountLoginManager::sharedInstance()->logout();
  }

  static std::string reportOf(const char* password) {
    const auto report = std::make_shared<Report>();
    const auto& manager = ORVAAccountLoginManager::sharedInstance();
    manager->setDelegate(report);
    manager->loginWithParameters(
        {{kORVAAccountLogin, "ada@example.com"}, {kORVAAccountPassword, password}});
    return report->text();
  }

  static std::unique_ptr<DevelopmentService> service_;
};

std::unique_ptr<DevelopmentService> SignIn::service_;

TEST_F(SignIn, MakesTheUserCurrent) {
  EXPECT_EQ(reportOf("correct horse"), "ada@example.com");
  EXPECT_NE(ORVAAccountUser::currentUser(), nullptr);
}

TEST_F(SignIn, SaysThatThePasswordIsWrong) {
  EXPECT_EQ(reportOf("wrong horse"), "password error");
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  EXPECT_EQ(service_->requests().at(0).resultCode, "0");
}

TEST_F(SignIn, SurvivesALostAnswer) {
  service_->setFaults(R"([{"match": {"apiId": "w000000011", "nth": 1}, "do": "close"}])");
  EXPECT_NE(reportOf("correct horse"), "ada@example.com");
  EXPECT_EQ(reportOf("correct horse"), "ada@example.com");
  EXPECT_EQ(service_->requestCount("w000000011"), 2U);
}

}  // namespace
