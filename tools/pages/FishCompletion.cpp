// SPDX-License-Identifier: MIT
#include <sstream>

#include "Pages.h"
#include "Words.h"

namespace pages {
namespace {

std::string inQuotes(std::string_view text) {
  return '\'' + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + '\'';
}

void writeOptions(std::ostream& script, const std::string& start,
                  const std::vector<const CLI::Option*>& options) {
  for (const CLI::Option* option : options) {
    script << start;
    for (const std::string& name : option->get_snames()) script << " -s " << name;
    for (const std::string& name : option->get_lnames()) script << " -l " << name;
    if (!valueNameOf(*option).empty()) script << (takesFile(*option) ? " -r -F" : " -x");
    script << " -d " << inQuotes(descriptionOf(*option)) << '\n';
  }
}

}  // namespace

std::string fishCompletion(const CLI::App& app) {
  const std::string complete = "complete -c " + app.get_name();
  std::string names;
  for (const CLI::App* command : commandsOf(app)) names += ' ' + command->get_name();
  std::ostringstream script;
  script << complete << " -f\n";
  writeOptions(script, complete, optionsOf(app));
  for (const CLI::App* command : commandsOf(app)) {
    const std::string& name = command->get_name();
    script << complete << " -n " << inQuotes("not __fish_seen_subcommand_from" + names) << " -a "
           << name << " -d " << inQuotes(command->get_description()) << '\n';
    const std::string start = complete + " -n " + inQuotes("__fish_seen_subcommand_from " + name);
    writeOptions(script, start, optionsOf(*command));
    const auto arguments = argumentsOf(*command);
    if (!arguments.empty() && takesCommand(*arguments[0])) {
      script << start << " -a " << inQuotes(names.substr(1)) << '\n';
    }
  }
  return script.str();
}

}  // namespace pages
