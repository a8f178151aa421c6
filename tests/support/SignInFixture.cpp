// SPDX-License-Identifier: MIT
#include "support/SignInFixture.h"

#include <ORXAccount/platform/Bundle.h>

#include <cstdlib>

#include "support/StorageHome.h"

namespace orx::testing {

SignInFixture::SignInFixture() {
  setenv("XDG_CONFIG_HOME", (storage_ / "config").c_str(), 1);
  setenv("XDG_DATA_HOME", (storage_ / "data").c_str(), 1);
  withoutSessionBus();
  Bundle::mainBundle()->setBundleIdentifier("com.example.login-test");
  ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "my-key", "my-app", false);
  manager()->setDelegate(delegate_);
}

SignInFixture::~SignInFixture() {
  manager()->setDelegate({});
  ORVAAccountUser::setCurrentUser(nullptr);
}

void SignInFixture::answerWithRecord(const std::string& json) {
  answerWith(soapAnswer(resultBlock("1", "OK", "Json", "[" + json + "]")));
}

void SignInFixture::answerWithRefusal(std::string_view description) {
  answerWith(soapAnswer(resultBlock("0", description, "", std::nullopt)));
}

std::shared_ptr<ORVAAccountUser> SignInFixture::signIn(const std::string& name) {
  answerWithRecord(R"({"login":")" + name + R"("})");
  manager()->loginWithParameters(Dictionary{{"login", name}});
  return report().user;
}

}  // namespace orx::testing
