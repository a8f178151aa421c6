// SPDX-License-Identifier: MIT
#include <sstream>

#include "Pages.h"
#include "Words.h"

namespace pages {
namespace {

std::string inQuotes(std::string_view text) { return '\'' + replaced(text, "'", "'\\''") + '\''; }

std::string escaped(std::string_view text) {
  std::string shown = replaced(text, "\\", "\\\\");
  for (const char* mark : {":", "[", "]"}) shown = replaced(shown, mark, std::string("\\") + mark);
  return shown;
}

std::string actionOf(const CLI::Option& option) {
  const std::string value = valueNameOf(option);
  if (value.empty()) return "";
  return ':' + escaped(value) + ':' + (takesFile(option) ? "_files" : " ");
}

// The arguments of zsh's _arguments, one for each name.
void writeOptions(std::ostream& script, const std::vector<const CLI::Option*>& options,
                  const char* indent) {
  for (const CLI::Option* option : options) {
    for (const std::string& name : namesOf(*option)) {
      const bool separate = !valueNameOf(*option).empty() && name.starts_with("--");
      script << indent
             << inQuotes((mayRepeat(*option) ? "*" : "") + name + (separate ? "=" : "") + '[' +
                         escaped(descriptionOf(*option)) + ']' + actionOf(*option))
             << '\n';
    }
  }
}

void writeNames(std::ostream& script, const CLI::App& app) {
  script << "  local -a commands=(\n";
  for (const CLI::App* command : commandsOf(app)) {
    script << "    " << inQuotes(command->get_name() + ':' + escaped(command->get_description()))
           << '\n';
  }
  script << "  )\n";
}

void writeCommand(std::ostream& script, const CLI::App& command) {
  script << "        " << command.get_name() << ")\n          local -a own=(\n";
  writeOptions(script, optionsOf(command), "            ");
  for (const CLI::Option* argument : argumentsOf(command)) {
    const std::string& name = argument->get_name(true);
    script << "            "
           << inQuotes("::" + name + ':' +
                       (takesCommand(*argument) ? "{_describe command commands}" : " "))
           << '\n';
  }
  script << "          )\n          _arguments -s $own $global ;;\n";
}

}  // namespace

std::string zshCompletion(const CLI::App& app) {
  const std::string& name = app.get_name();
  const auto commands = commandsOf(app);
  std::ostringstream script;
  script << "#compdef " << name << "\n_" << name
         << "() {\n  local curcontext=$curcontext state line\n"
         << "  typeset -A opt_args\n  local -a global=(\n";
  writeOptions(script, optionsOf(app), "    ");
  script << "  )\n";
  if (commands.empty()) {
    script << "  _arguments -s $global\n";
  } else {
    writeNames(script, app);
    script << "  _arguments -s -C $global '1: :->command' '*:: :->rest'\n"
              "  case $state in\n"
              "    command) _describe command commands ;;\n"
              "    rest)\n"
              "      case $words[1] in\n";
    for (const CLI::App* command : commands) writeCommand(script, *command);
    script << "      esac ;;\n  esac\n";
  }
  // As an autoloaded file it is the function's body, else it is read by `source`.
  script << "}\nif [[ $funcstack[1] == _" << name << " ]]; then _" << name
         << " \"$@\"; else compdef _" << name << ' ' << name << "; fi\n";
  return script.str();
}

}  // namespace pages
