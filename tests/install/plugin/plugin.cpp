// SPDX-License-Identifier: MIT
#include <ORXAccount/ORXAccount.h>

// Leaves behind what code that is gone could not serve: threads, and handlers of the process's end.
extern "C" __attribute__((visibility("default"))) bool startAccount() {
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "demo-key", "demo-app", false);
  orx::ORVAAccountAPI::initWithOptions({})->countryListWithCompletionHandler(
      [](const auto&, const auto&) {});
  return true;
}
