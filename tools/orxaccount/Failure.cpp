#include "Failure.h"

namespace tool {

Failure failureOf(const std::shared_ptr<orx::Error>& error) {
  const bool noAnswer = error->domain() == orx::NSURLErrorDomain;
  return {noAnswer ? ExitCode::Transport : ExitCode::Refused, error->localizedDescription(), error};
}

}  // namespace tool
