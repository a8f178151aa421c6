// SPDX-License-Identifier: MIT
#pragma once

#include "Options.h"

namespace tool {

// Each adds its commands. A command runs when it has been parsed, and throws a Failure when it ends
// without its result.
void addAccountCommands(CLI::App& app, const GlobalOptions& options);
void addSignInCommands(CLI::App& app, const GlobalOptions& options);
void addServiceCommands(CLI::App& app, const GlobalOptions& options);
void addPictureCommand(CLI::App& app, const GlobalOptions& options);

// Asks the stores, because what is installed does not tell which one is in use.
void printVersions(const GlobalOptions& options);

}  // namespace tool
