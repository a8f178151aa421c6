// What the operations share. They are in AccountOperations.cpp, OpenIDOperations.cpp,
// ParameterLists.cpp and UserDataFetch.cpp.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <atomic>

#include "service/ServiceError.h"

namespace orx {

using namespace service;

namespace {

std::atomic<bool> g_targetServerIsCNServer{false};

}  // namespace

std::shared_ptr<ORVAAccountAPIResult> ORVAAccountAPIResult::init() {
  return std::make_shared<ORVAAccountAPIResult>(Making());
}

std::shared_ptr<ORVAAccountAPI> ORVAAccountAPI::initWithOptions(const Dictionary& options) {
  auto api = std::shared_ptr<ORVAAccountAPI>(new ORVAAccountAPI);
  api->setAppID(options[kORVAAccountAppID].text());
  api->setAppKey(options[kORVAAccountAppKey].text());
  api->setParsingTasks(std::vector<Dictionary>());
  return api;
}

void ORVAAccountAPI::setTargetServerWithIsCN(bool isCN) { g_targetServerIsCNServer = isCN; }

bool ORVAAccountAPI::targetServerIsCN() { return g_targetServerIsCNServer; }

std::shared_ptr<Error> ORVAAccountAPI::errorWithDescription(
    const std::optional<std::string>& description) const {
  return refusalError(description);
}

}  // namespace orx
