// SPDX-License-Identifier: MIT
// A host of the shared library that starts, restores its user, makes a call, and fails unless
// libcurl was loaded for the call and not before. With an argument it expects that libcurl cannot
// be loaded, and that the call says so; with a second one, which names the service's host, also
// where the address of that host is one for libcurl to read.
#include <ORXAccount/ORXAccount.h>

#include <cstdio>
#include <fstream>
#include <future>
#include <string>

namespace {

bool hasLibcurl() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/libcurl.so.4") != std::string::npos) return true;
  }
  return false;
}

// Of a call to a port where nobody listens.
std::string errorOfACall() {
  orx::URLSessionConfiguration configuration;
  configuration.setConnectTo(ORX_TEST_GLOBAL_HOST, {"127.0.0.1", 1});
  configuration.setProxy("");
  orx::URLSessionConfiguration::setDefaultConfiguration(configuration);
  std::promise<std::string> report;
  orx::ORVAAccountAPI::initWithOptions({})->login_completionHandler(
      {}, [&](const auto&, const auto& error) {
        report.set_value(error ? error->localizedDescription() : "");
      });
  return report.get_future().get();
}

int failure(const char* what, const std::string& error) {
  std::fprintf(stderr, "%s (%s)\n", what, error.c_str());
  return 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count > 2) {
    orx::ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        arguments[2], {}, {}, {});
  }
  orx::Bundle::mainBundle()->setBundleIdentifier("com.example.loading");
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "key", "id", false);
  if (count < 3 && hasLibcurl()) return failure("libcurl was loaded before any call", "");
  orx::ORVAAccountAPI::prepareConnection();
  const std::string error = errorOfACall();
  if (count > 1) {
    const bool isNamed = error.find("libcurl.so.4") != std::string::npos;
    return isNamed ? 0 : failure("the call does not name libcurl", error);
  }
  if (!hasLibcurl()) return failure("libcurl was not loaded", error);
  const bool hasTried = error.find("could not connect to " ORX_TEST_GLOBAL_HOST) == 0;
  return hasTried ? 0 : failure("the call did not try to connect", error);
}
