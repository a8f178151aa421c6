// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORXAccount.h>

#include <span>

// The start of every example. The arguments, CA-FILE localhost:PORT, lead it to the development
// service on this machine.
inline void setUp(std::span<char*> arguments) {
  orx::Bundle::mainBundle()->setBundleIdentifier("com.example.host");
  if (arguments.size() == 3) {
    orx::URLSessionConfiguration configuration;
    configuration.setCaFile(arguments[1]);
    orx::URLSessionConfiguration::setDefaultConfiguration(configuration);
    orx::ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        arguments[2], {}, {}, {});
  }
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "demo-key", "demo-app", false);
}
