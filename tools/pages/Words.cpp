// SPDX-License-Identifier: MIT
#include "Words.h"

namespace pages {
namespace {

bool isShown(const CLI::Option* option) { return !option->get_group().empty(); }

}  // namespace

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& app) {
  const CLI::Option* shared = app.get_parent() == nullptr ? nullptr : app.get_help_ptr();
  return app.get_options([=](const CLI::Option* option) {
    return isShown(option) && option->nonpositional() && option != shared;
  });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& app) {
  return app.get_options(
      [](const CLI::Option* option) { return isShown(option) && option->get_positional(); });
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back('-' + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::string valueNameOf(const CLI::Option& option) {
  if (option.get_items_expected_max() == 0) return "";
  return option.get_option_text().empty() ? option.get_type_name() : option.get_option_text();
}

bool takesFile(const CLI::Option& option) { return valueNameOf(option).ends_with("FILE"); }

bool mayRepeat(const CLI::Option& option) {
  return option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
}

bool takesCommand(const CLI::Option& argument) { return argument.get_name(true) == "COMMAND"; }

std::string descriptionOf(const CLI::Option& option) {
  std::string text = option.get_description();
  if (option.get_required()) text += " (required)";
  if (!option.get_default_str().empty()) text += " [" + option.get_default_str() + ']';
  if (!option.get_envname().empty()) text += " [$" + option.get_envname() + ']';
  return text;
}

std::string replaced(std::string_view text, std::string_view what, std::string_view by) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    if (text.substr(at).starts_with(what)) {
      result += by;
      at += what.size();
    } else {
      result += text[at++];
    }
  }
  return result;
}

}  // namespace pages
