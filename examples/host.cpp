#include <ORXAccount/ORXAccount.h>

#include <future>
#include <iostream>

class Greeter : public orx::ORVAAccountLoginManagerDelegate {
 public:
  void loginManager_didLoginWithUser_error(orx::ORVAAccountLoginManager&,
                                           const std::shared_ptr<orx::ORVAAccountUser>& user,
                                           const std::shared_ptr<orx::Error>& error) override {
    std::cout << (error ? error->localizedDescription() : "Hello " + user->cusID().value_or("you"))
              << std::endl;
    signedIn.set_value(!error);
  }
  std::promise<bool> signedIn;
};

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
  const auto greeter = std::make_shared<Greeter>();
  const auto& manager = orx::ORVAAccountLoginManager::sharedInstance();
  manager->setDelegate(greeter);
  manager->loginOpenIDWithParameters(
      {{orx::kORVAAccountOpenIDType, "example"}, {orx::kORVAAccountOpenIDUID, "1234567"}});
  return greeter->signedIn.get_future().get() ? 0 : 1;
}
