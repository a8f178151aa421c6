// SPDX-License-Identifier: MIT
// What the operations share. They are in AccountOperations.cpp, OpenIDOperations.cpp,
// ParameterLists.cpp and UserDataFetch.cpp.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <atomic>
#include <system_error>
#include <utility>

#include "config/Servers.h"
#include "platform/http/Transport.h"
#include "service/AccountAPIState.h"
#include "service/SOAPCall.h"
#include "service/ServiceError.h"

namespace orx {

using namespace service;

namespace {

std::atomic<bool> g_targetServerIsCNServer{false};

}  // namespace

ORVAAccountAPI::ORVAAccountAPI() : state_(std::make_unique<State>()) {}

ORVAAccountAPI::~ORVAAccountAPI() = default;

std::shared_ptr<ORVAAccountAPI> ORVAAccountAPI::initWithOptions(const Dictionary& options) {
  auto api = std::shared_ptr<ORVAAccountAPI>(new ORVAAccountAPI);
  api->setAppID(options[kORVAAccountAppID].text());
  api->setAppKey(options[kORVAAccountAppKey].text());
  api->setParsingTasks(std::vector<Dictionary>());
  return api;
}

const std::optional<std::string>& ORVAAccountAPI::appID() const { return state_->appID; }

void ORVAAccountAPI::setAppID(std::optional<std::string> appID) {
  state_->appID = std::move(appID);
}

const std::optional<std::string>& ORVAAccountAPI::appKey() const { return state_->appKey; }

void ORVAAccountAPI::setAppKey(std::optional<std::string> appKey) {
  state_->appKey = std::move(appKey);
}

void ORVAAccountAPI::setTargetServerWithIsCN(bool isCN) { g_targetServerIsCNServer = isCN; }

bool ORVAAccountAPI::targetServerIsCN() { return g_targetServerIsCNServer; }

void ORVAAccountAPI::prepareConnection() {
  try {
    platform::prepareConnection(config::serviceURL(targetServers(), config::kCustomerInfoPath),
                                URLSessionConfiguration::defaultConfiguration());
  } catch (const std::system_error&) {
    // There is no thread for it. The operation that it was meant for says so.
  }
}

std::shared_ptr<Error> ORVAAccountAPI::errorWithDescription(
    const std::optional<std::string>& description) const {
  return refusalError(description);
}

}  // namespace orx
