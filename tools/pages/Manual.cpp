// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cctype>
#include <sstream>

#include "Pages.h"
#include "Words.h"

namespace pages {
namespace {

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  return text;
}

// Text as roff shows it. A line that begins with a dot or an apostrophe would be a request.
std::string roff(std::string_view text) {
  std::string shown = replaced(replaced(text, "\\", "\\e"), "-", "\\-");
  if (shown.starts_with('.') || shown.starts_with('\'')) shown.insert(0, "\\&");
  return replaced(replaced(shown, "\n.", "\n\\&."), "\n'", "\n\\&'");
}

std::string bold(const std::string& text) { return "\\fB" + roff(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + roff(text) + "\\fR"; }

std::string entry(const std::string& term, const std::string& text) {
  return ".TP\n" + term + '\n' + roff(text) + '\n';
}

std::string termOf(const CLI::Option& option) {
  std::string term;
  for (const std::string& name : namesOf(option)) term += (term.empty() ? "" : ", ") + bold(name);
  const std::string value = valueNameOf(option);
  return value.empty() ? term : term + ' ' + italic(value);
}

void writeOptions(std::ostream& page, const std::vector<const CLI::Option*>& options) {
  for (const CLI::Option* option : options) page << entry(termOf(*option), descriptionOf(*option));
}

void writeCommand(std::ostream& page, const CLI::App& command) {
  std::string heading = command.get_name();
  for (const CLI::Option* argument : argumentsOf(command))
    heading += ' ' + argument->get_name(true);
  page << ".SS " << roff(heading) << '\n' << roff(command.get_description()) << ".\n";
  for (const CLI::Option* argument : argumentsOf(command)) {
    page << entry(italic(argument->get_name(true)), descriptionOf(*argument));
  }
  writeOptions(page, optionsOf(command));
}

void writeVariables(std::ostream& page, const CLI::App& app, const Manual& manual) {
  std::string entries;
  for (const CLI::Option* option : optionsOf(app)) {
    if (option->get_envname().empty()) continue;
    entries += entry(bold(option->get_envname()), "As " + namesOf(*option).back() + '.');
  }
  for (const auto& [name, text] : manual.variables) entries += entry(bold(name), text);
  if (!entries.empty()) page << ".SH ENVIRONMENT\n" << entries;
}

void writeParagraphs(std::ostream& page, std::string_view text) {
  page << replaced(roff(text), "\n\n", "\n.PP\n") << '\n';
}

}  // namespace

std::string manualPage(const CLI::App& app, const Manual& manual) {
  std::ostringstream page;
  const auto commands = commandsOf(app);
  const std::string& name = app.get_name();
  std::string purpose = app.get_description();
  if (purpose.ends_with('.')) purpose.pop_back();
  page << ".TH " << upper(name) << " 1 \"\" \"" << name << ' ' << manual.version
       << "\" \"User Commands\"\n.SH NAME\n"
       << roff(name) << " \\- " << roff(purpose) << "\n.SH SYNOPSIS\n"
       << bold(name) << " [" << italic("OPTIONS") << ']';
  if (!commands.empty()) page << ' ' << italic("COMMAND") << " [" << italic("ARGUMENTS") << ']';
  page << "\n.SH OPTIONS\n";
  if (!commands.empty()) page << "Every command takes these, in front of its name or behind it.\n";
  writeOptions(page, optionsOf(app));
  if (!commands.empty()) page << ".SH COMMANDS\n";
  for (const CLI::App* command : commands) writeCommand(page, *command);
  for (const auto& [title, text] : manual.sections) {
    page << ".SH " << roff(title) << '\n';
    writeParagraphs(page, text);
  }
  writeVariables(page, app, manual);
  if (!manual.exitCodes.empty()) page << ".SH \"EXIT STATUS\"\n";
  for (const auto& [code, text] : manual.exitCodes) page << entry(bold(code), text);
  return page.str();
}

}  // namespace pages
