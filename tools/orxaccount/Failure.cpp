// SPDX-License-Identifier: MIT
#include "Failure.h"

#include <utility>

namespace tool {

Failure failureOf(const std::shared_ptr<orx::Error>& error) {
  const bool noAnswer = error->domain() == orx::NSURLErrorDomain;
  std::string text = error->localizedDescription();
  if (text.empty()) {
    text = "the service gave no reason; it does so for a parameter that holds & or <, for instance";
  }
  return {noAnswer ? ExitCode::Transport : ExitCode::Refused, std::move(text), error};
}

}  // namespace tool
