#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include "service/CompletionHandler.h"
#include "service/ORVAAccountAPITasks.h"
#include "service/ServiceError.h"

namespace orx {

namespace {

std::atomic<bool> g_targetServerIsCNServer{false};

std::optional<std::string> optionNamed(std::string_view key, const Dictionary& options) {
  return options[key].text();
}

}  // namespace

std::shared_ptr<ORVAAccountAPIResult> ORVAAccountAPIResult::init() {
  return std::make_shared<ORVAAccountAPIResult>(Making());
}

ORVAAccountAPICompletionHandler required(ORVAAccountAPICompletionHandler completionHandler) {
  if (!completionHandler) throw std::invalid_argument("a call needs a completion handler");
  return completionHandler;
}

ORVAAccountAPI::Tasks::Tasks()
    : list({.parser = kGetUserDataTaskResponseDataParser,
            .elements = kGetUserDataTaskResponseDataDictionary,
            .parsingString = kGetUserDataTaskParsingString,
            .parsingError = kGetUserDataTaskParsingError,
            .completionHandler = kGetUserDataTaskCompletionHandler}) {}

ORVAAccountAPI::ORVAAccountAPI() : tasks_(std::make_unique<Tasks>()) {}

ORVAAccountAPI::~ORVAAccountAPI() = default;

std::shared_ptr<ORVAAccountAPI> ORVAAccountAPI::initWithOptions(const Dictionary& options) {
  auto api = std::shared_ptr<ORVAAccountAPI>(new ORVAAccountAPI);
  api->setAppID(optionNamed(kORVAAccountAppID, options));
  api->setAppKey(optionNamed(kORVAAccountAppKey, options));
  api->setParsingTasks(std::vector<Dictionary>());
  return api;
}

std::optional<std::vector<Dictionary>> ORVAAccountAPI::parsingTasks() const {
  return tasks_->list.dictionaries();
}

void ORVAAccountAPI::setParsingTasks(const std::optional<std::vector<Dictionary>>& parsingTasks) {
  tasks_->list.setDictionaries(parsingTasks);
}

void ORVAAccountAPI::setTargetServerWithIsCN(bool isCN) { g_targetServerIsCNServer = isCN; }

bool ORVAAccountAPI::targetServerIsCN() { return g_targetServerIsCNServer; }

std::shared_ptr<Error> ORVAAccountAPI::errorWithDescription(
    const std::optional<std::string>& description) const {
  return serviceError(codeOfDescription(description.value_or("")), description);
}

}  // namespace orx
