// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/DevelopmentService.h>

namespace CLI {
class App;
}

namespace orx::devserver {

struct ProgramOptions {
  DevelopmentServiceOptions service;
  bool exitWithStandardInput = false;
};

// The options must outlive the parsing.
void addOptions(CLI::App& app, ProgramOptions& options);

}  // namespace orx::devserver
