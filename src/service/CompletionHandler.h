#pragma once

#include <ORXAccount/ORVAAccountAPI.h>

#include <stdexcept>

namespace orx::service {

// The handler as it is. Throws std::invalid_argument when it is empty: its call could never report.
inline ORVAAccountAPICompletionHandler required(ORVAAccountAPICompletionHandler completionHandler) {
  if (!completionHandler) throw std::invalid_argument("a call needs a completion handler");
  return completionHandler;
}

}  // namespace orx::service
