// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

// What people read about a program, all made of the options and commands that it parses: its help,
// its manual page, completions for their shells, and what was wrong with their arguments.
namespace pages {

// What a manual page says beside options and commands.
struct Manual {
  // A variable, an exit code or the like, and what it means.
  using Entry = std::pair<std::string, std::string>;

  std::string version;
  // The variables that no option names as its own.
  std::vector<Entry> variables;
  std::vector<Entry> exitCodes;
  // Headings in capitals, each with its paragraphs, between which is an empty line.
  std::vector<Entry> sections;
};

// Gives the program help that fits the terminal and shows the global options with every command,
// and the hidden option `--page man|bash|zsh|fish`, which prints the manual page or a completion.
// For an app without options and commands yet: commands take over what it has when they are added.
void addTo(CLI::App& app, Manual manual);

// Adds the command `help`, which shows the help of another command. For the last command.
void addHelpCommand(CLI::App& app);

// Why the arguments could not be parsed, in one line. A word that `app` does not know is named with
// the nearest that it does know, of an option without the value behind "=".
std::string explanation(const CLI::App& app, const CLI::ParseError& error);

// Made of `app` when it has all its options and commands.
std::string manualPage(const CLI::App& app, const Manual& manual);
std::string bashCompletion(const CLI::App& app);
std::string zshCompletion(const CLI::App& app);
std::string fishCompletion(const CLI::App& app);

}  // namespace pages
