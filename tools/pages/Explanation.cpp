// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "Pages.h"
#include "Words.h"

namespace pages {
namespace {

// How many letters have to be changed, added or left out to make one word of the other.
std::size_t distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = std::exchange(row[j + 1], std::min({changed, row[j] + 1, row[j + 1] + 1}));
    }
  }
  return row.back();
}

// "; did you mean A or B?", empty when nothing known resembles the word.
std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t kLongestWord = 64;
  if (word.size() > kLongestWord) return "";
  std::size_t nearest = 1 + word.size() / 4;
  std::vector<std::string> found;
  for (const std::string& name : known) {
    const bool begun = word.size() > 1 && word != "--" && name.starts_with(word);
    const std::size_t away = begun ? 0 : distance(word, name);
    if (away > nearest) continue;
    if (away < nearest) found.clear();
    nearest = away;
    found.push_back(name);
  }
  std::string text;
  for (const std::string& name : found) text += (text.empty() ? "; did you mean " : " or ") + name;
  return text.empty() ? text : text + '?';
}

void appendNames(const std::vector<const CLI::Option*>& options, std::vector<std::string>& names) {
  for (const CLI::Option* option : options) {
    const auto more = namesOf(*option);
    names.insert(names.end(), more.begin(), more.end());
  }
}

std::string unknownOption(const CLI::App& app, const std::string& argument) {
  // What stands behind "=", or behind the letter of a short option, may be a secret.
  const bool isShort = !argument.starts_with("--");
  const std::string name = isShort ? argument.substr(0, 2) : argument.substr(0, argument.find('='));
  const auto parsed = app.get_subcommands();
  const CLI::App& command = parsed.empty() ? app : *parsed.back();
  std::vector<std::string> known;
  appendNames(optionsOf(command), known);
  if (!parsed.empty()) appendNames(optionsOf(app), known);
  return (parsed.empty() ? "there is no option " : command.get_name() + " has no option ") + name +
         suggestion(isShort ? argument : name, known);
}

// The argument itself may be a secret.
std::string needlessArgument(const CLI::App& command) {
  const bool takesSome = !argumentsOf(command).empty();
  return command.get_name() + (takesSome ? " takes no further argument" : " takes no argument");
}

}  // namespace

std::string unknownCommand(const CLI::App& app, const std::string& word) {
  std::vector<std::string> known;
  for (const CLI::App* command : commandsOf(app)) known.push_back(command->get_name());
  return "there is no command '" + word + '\'' + suggestion(word, known);
}

std::string explanation(const CLI::App& app, const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
    // Behind the option's name stands the value, which may be a secret.
    const std::string text = error.what();
    return text.substr(0, text.find(" = "));
  }
  const auto unknown = app.remaining(true);
  // What is required may be missing because its name was mistyped.
  const bool tellsOfWords = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                            dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  if (unknown.empty() || !tellsOfWords) return error.what();
  // The words behind the first may be values of an unknown option, secret ones too.
  const std::string& word = unknown.front();
  if (word.size() > 1 && word.front() == '-') return unknownOption(app, word);
  const auto parsed = app.get_subcommands();
  if (parsed.empty() && !commandsOf(app).empty()) return unknownCommand(app, word);
  return parsed.empty() ? "there is no argument '" + word + '\'' : needlessArgument(*parsed.back());
}

}  // namespace pages
