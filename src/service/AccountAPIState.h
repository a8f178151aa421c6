// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <optional>
#include <string>

#include "service/XMLTasks.h"

namespace orx {

struct ORVAAccountAPI::State {
  std::optional<std::string> appID;
  std::optional<std::string> appKey;
  // The user-data answers that it is parsing.
  service::XMLTaskList tasks{{.parser = kGetUserDataTaskResponseDataParser,
                              .elements = kGetUserDataTaskResponseDataDictionary,
                              .parsingString = kGetUserDataTaskParsingString,
                              .parsingError = kGetUserDataTaskParsingError,
                              .completionHandler = kGetUserDataTaskCompletionHandler}};
};

}  // namespace orx
