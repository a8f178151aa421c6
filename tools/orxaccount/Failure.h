#pragma once

#include <ORXAccount/platform/Error.h>

#include <memory>
#include <optional>
#include <string>

#include "ExitCode.h"

namespace tool {

// Why a command ends without its result. Thrown by commands, shown by main.
struct Failure {
  ExitCode exitCode;
  std::string text;
  // What the library reported, when it was the library.
  std::shared_ptr<orx::Error> error = nullptr;
};

// The failure that an error of the library means for whoever runs the command.
Failure failureOf(const std::shared_ptr<orx::Error>& error);

inline Failure usageFailure(std::string text) { return {ExitCode::Usage, std::move(text)}; }

}  // namespace tool
