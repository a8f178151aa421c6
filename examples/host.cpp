// SPDX-License-Identifier: MIT
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORXAccount.h>

#include <iostream>

int main(int argc, char** argv) {
  orx::Bundle::mainBundle()->setBundleIdentifier("com.example.host");
  if (argc == 3) {  // host CA-FILE localhost:PORT: the development service on this machine
    orx::URLSessionConfiguration configuration;
    configuration.setCaFile(argv[1]);
    orx::URLSessionConfiguration::setDefaultConfiguration(configuration);
    orx::ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        argv[2], {}, {}, {});
  }
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "demo-key", "demo-app", false);
  try {
    const auto user = orx::calls::signInWithOpenID({{orx::kORVAAccountOpenIDType, "example"},
                                                    {orx::kORVAAccountOpenIDUID, "1234567"}})
                          .future()
                          .get();
    std::cout << "Hello " << user->cusID().value_or("you") << std::endl;
  } catch (const orx::CallError& error) {
    std::cout << error.what() << std::endl;
    return 1;
  }
}
