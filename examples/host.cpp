#include <ORXAccount/Calls.h>
#include <ORXAccount/ORXAccount.h>

#include <iostream>

int main(int argc, char** argv) {
  orx::Bundle::mainBundle()->setBundleIdentifier("com.example.host");
  if (argc == 3) {  // host CA-FILE PORT: the development service on this machine
    orx::URLSessionConfiguration configuration;
    configuration.caFile = argv[1];
    configuration.connectTo["account.orva.example"] = {"127.0.0.1",
                                                       static_cast<std::uint16_t>(atoi(argv[2]))};
    orx::URLSessionConfiguration::setDefaultConfiguration(configuration);
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
