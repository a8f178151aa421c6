// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What the pages tell of options and commands. Those that the help hides are in none of them.
namespace pages {

std::vector<const CLI::App*> commandsOf(const CLI::App& app);
// Those with dashes; of a command without the help, which it shares with the program.
std::vector<const CLI::Option*> optionsOf(const CLI::App& app);
std::vector<const CLI::Option*> argumentsOf(const CLI::App& app);

// With their dashes, short ones first.
std::vector<std::string> namesOf(const CLI::Option& option);
// What stands for the value, "FILE"; empty for a flag.
std::string valueNameOf(const CLI::Option& option);
// Whether the value, or what stands behind its "=", names a file.
bool takesFile(const CLI::Option& option);
bool mayRepeat(const CLI::Option& option);
// The argument of `help`.
bool takesCommand(const CLI::Option& argument);
// With the default, the variable and whether it is required.
std::string descriptionOf(const CLI::Option& option);

// That there is no such command, and the nearest that there are.
std::string unknownCommand(const CLI::App& app, const std::string& word);

std::string replaced(std::string_view text, std::string_view what, std::string_view by);

}  // namespace pages
