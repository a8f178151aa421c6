// SPDX-License-Identifier: MIT
#include <sstream>

#include "Pages.h"
#include "Words.h"

namespace pages {
namespace {

// The patterns of the options with a value: login" --uid" of one command, *" --ca-file" of all.
void appendPatterns(const std::vector<const CLI::Option*>& options, const std::string& command,
                    std::string& files, std::string& others) {
  for (const CLI::Option* option : options) {
    if (valueNameOf(*option).empty()) continue;
    std::string& patterns = takesFile(*option) ? files : others;
    for (const std::string& name : namesOf(*option)) {
      patterns.append(patterns.empty() ? "" : " | ").append(command);
      patterns.append("\" ").append(name).append("\"");
    }
  }
}

std::string wordsOf(const std::vector<const CLI::Option*>& options) {
  std::string words;
  for (const CLI::Option* option : options) {
    for (const std::string& name : namesOf(*option)) words += name + ' ';
  }
  return words;
}

// Moves over the options in front of the command, and their values, to find it.
void writeSearch(std::ostream& script, const CLI::App& app) {
  std::string withValue;
  for (const CLI::Option* option : optionsOf(app)) {
    if (valueNameOf(*option).empty()) continue;
    for (const std::string& name : namesOf(*option)) {
      withValue += (withValue.empty() ? "" : " | ") + name;
    }
  }
  script << "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
            "    case ${COMP_WORDS[i]} in\n";
  if (!withValue.empty()) {
    script << "      " << withValue << ") [[ ${COMP_WORDS[i + 1]} == = ]] && ((i++)); ((i++)) ;;\n";
  }
  script << "      -*) ;;\n"
            "      *) command=${COMP_WORDS[i]}; break ;;\n"
            "    esac\n"
            "  done\n";
}

// Options where the word begins with a dash; else commands, where one may stand.
void writeWords(std::ostream& script, const CLI::App& app) {
  std::string names;
  std::string beforeNames = "''";
  script << "  if [[ $current == -* ]]; then\n"
            "    case $command in\n";
  for (const CLI::App* command : commandsOf(app)) {
    const std::string& name = command->get_name();
    names += name + ' ';
    const auto arguments = argumentsOf(*command);
    if (!arguments.empty() && takesCommand(*arguments[0])) beforeNames += " | " + name;
    const std::string words = wordsOf(optionsOf(*command));
    if (!words.empty()) script << "      " << name << ") words='" << words << "' ;;\n";
  }
  script << "    esac\n    words+='" << wordsOf(optionsOf(app)) << "'\n";
  if (!names.empty()) {
    script << "  else\n    case $command in\n      " << beforeNames << ") words='" << names
           << "' ;;\n    esac\n";
  }
  script << "  fi\n";
}

}  // namespace

std::string bashCompletion(const CLI::App& app) {
  const std::string function = '_' + replaced(app.get_name(), "-", "_");
  std::string files;
  std::string others;
  appendPatterns(optionsOf(app), "*", files, others);
  for (const CLI::App* command : commandsOf(app)) {
    appendPatterns(optionsOf(*command), command->get_name(), files, others);
  }
  std::ostringstream script;
  script << "# Completion of " << app.get_name() << " in bash\n"
         << function
         << "() {\n"
            "  local current=${COMP_WORDS[COMP_CWORD]} at=$((COMP_CWORD - 1)) command= words= i\n"
            "  COMPREPLY=()\n"
            "  # bash takes --option=value and key=value apart at the \"=\".\n"
            "  [[ $current == = ]] && current= && ((at++))\n"
            "  if [[ ${COMP_WORDS[at]} == = ]]; then\n"
            "    ((at--))\n"
            "    [[ ${COMP_WORDS[at]} == -* ]] || ((at--))\n"
            "  fi\n";
  writeSearch(script, app);
  script << "  case \"$command ${COMP_WORDS[at]}\" in\n";
  if (!files.empty()) {
    script << "    " << files
           << ")\n"
              "      compopt -o filenames 2>/dev/null\n"
              "      mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
              "      return ;;\n";
  }
  if (!others.empty()) script << "    " << others << ") return ;;\n";
  script << "  esac\n";
  writeWords(script, app);
  script << "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
            "}\n"
            "complete -F "
         << function << ' ' << app.get_name() << '\n';
  return script.str();
}

}  // namespace pages
