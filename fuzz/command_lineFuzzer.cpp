// SPDX-License-Identifier: MIT
// The options and parameters of a command; the command itself is not run.

#include <CLI/CLI.hpp>
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

void addTo(CLI::App& app, Line& line) {
  app.require_subcommand(1);
  app.fallthrough();
  tool::addGlobalOptions(app, line.options);
  CLI::App& command = tool::addCommand(app, "register", "", [&line] { run(line); });
  line.parameters.addTo(command);
  line.parameters.addField(command, "--email", "Email", "");
  line.parameters.addOpenIDFields(command);
  line.parameters.addPasswordInput(command);
}

}  // namespace

// One argument a line.
ORX_FUZZ_TARGET(text) {
  // What the file that an argument names holds is no part of the input.
  if (tool::lowered(std::string(text)).find("file") != std::string::npos) return;
  std::vector<std::string> arguments;
  for (FuzzInput input(text); !input.empty();) arguments.emplace_back(input.line());
  std::reverse(arguments.begin(), arguments.end());

  // To make the parser for each input would take most of its time.
  static Line line;
  static CLI::App app("fuzzed", "orxaccount");
  static const Line untouched = [] {
    addTo(app, line);
    return line;
  }();
  line = untouched;
  try {
    app.parse(arguments);
    ORX_FUZZ_CHECK(line.runs == 1);
  } catch (const CLI::Error&) {
    ORX_FUZZ_CHECK(line.runs == 0);
  } catch (const tool::Failure& failure) {
    ORX_FUZZ_CHECK(failure.exitCode == tool::ExitCode::Usage && !failure.text.empty());
  } catch (const std::invalid_argument&) {
    return;
  }
}
