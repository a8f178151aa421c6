#pragma once

#include <ORXAccount/ORXAccount.h>

#include <cstdlib>
#include <span>

// The start of every example. The arguments, CA-FILE PORT, lead it to the development service on
// this machine.
inline void setUp(std::span<char*> arguments) {
  orx::Bundle::mainBundle()->setBundleIdentifier("com.example.host");
  if (arguments.size() == 3) {
    orx::URLSessionConfiguration configuration;
    configuration.caFile = arguments[1];
    configuration.connectTo["account.orva.example"] = {
        "127.0.0.1", static_cast<std::uint16_t>(std::atoi(arguments[2]))};
    orx::URLSessionConfiguration::setDefaultConfiguration(configuration);
  }
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "demo-key", "demo-app", false);
}
