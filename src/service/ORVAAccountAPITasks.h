#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include "service/XMLTasks.h"

namespace orx {

// The user-data answers that a client is parsing.
struct ORVAAccountAPI::Tasks : service::XMLTaskList {
  Tasks()
      : XMLTaskList({.parser = kGetUserDataTaskResponseDataParser,
                     .elements = kGetUserDataTaskResponseDataDictionary,
                     .parsingString = kGetUserDataTaskParsingString,
                     .parsingError = kGetUserDataTaskParsingError,
                     .completionHandler = kGetUserDataTaskCompletionHandler}) {}
};

}  // namespace orx
