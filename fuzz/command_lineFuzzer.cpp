// SPDX-License-Identifier: MIT
// The options and parameters of a command; the command itself is not run.

#include <CLI/CLI.hpp>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzTarget.h"
#include "orxaccount/Failure.h"
#include "orxaccount/Options.h"
#include "orxaccount/Secrets.h"

namespace {

// What one command line says, and how often it has run its command.
struct Line {
  tool::GlobalOptions options;
  tool::ParameterOptions parameters;
  int runs = 0;
};

void run(Line& line) {
  ++line.runs;
  (void)tool::urlSessionConfiguration(line.options);
  for (const auto& [key, value] : line.parameters.parameters()) {
    ORX_FUZZ_CHECK(!tool::namesTicket(key));
    (void)value;
  }
}

struct Parser {
  Parser() {
    app.require_subcommand(1);
    app.fallthrough();
    tool::addGlobalOptions(app, line.options);
    CLI::App& command = tool::addCommand(app, "register", "", [this] { run(line); });
    line.parameters.addTo(command);
    line.parameters.addField(command, "--email", "Email", "");
    line.parameters.addOpenIDFields(command);
    line.parameters.addPasswordInput(command);
    untouched = line;
  }

  CLI::App app{"fuzzed", "orxaccount"};
  Line line;
  Line untouched;
};

// To make one for each input would take most of its time, and one keeps a list of all the options
// that it has ever met.
Parser& parser() {
  static std::unique_ptr<Parser> parser;
  static unsigned uses = 0;
  if (uses++ % 1000 == 0) parser = std::make_unique<Parser>();
  parser->line = parser->untouched;
  return *parser;
}

}  // namespace

// One argument a line.
ORX_FUZZ_TARGET(text) {
  // CLI11 copies the rest of a word for each short option in it.
  leaveInputsShort();
  // What the file that an argument names holds is no part of the input.
  if (tool::lowered(std::string(text)).find("file") != std::string::npos) return;
  std::vector<std::string> arguments;
  for (FuzzInput input(text); !input.empty();) arguments.emplace_back(input.line());
  std::reverse(arguments.begin(), arguments.end());

  Parser& used = parser();
  try {
    used.app.parse(arguments);
    ORX_FUZZ_CHECK(used.line.runs == 1);
  } catch (const CLI::Error&) {
    ORX_FUZZ_CHECK(used.line.runs == 0);
  } catch (const tool::Failure& failure) {
    ORX_FUZZ_CHECK(failure.exitCode == tool::ExitCode::Usage && !failure.text.empty());
  } catch (const std::invalid_argument&) {
    return;
  }
}
