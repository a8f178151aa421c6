// SPDX-License-Identifier: MIT
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
  // The library's error; null when the failure is the command's own.
  std::shared_ptr<orx::Error> error = nullptr;
};

// Maps an error of the library to a message and an exit code.
Failure failureOf(const std::shared_ptr<orx::Error>& error);

inline Failure nobodySignedIn() { return {ExitCode::NotSignedIn, "nobody is signed in"}; }
inline Failure usageFailure(std::string text) { return {ExitCode::Usage, std::move(text)}; }

}  // namespace tool
