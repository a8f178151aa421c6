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

// One argument a line.
ORX_FUZZ_TARGET(text) {
  // What the file that an argument names holds is no part of the input.
  if (tool::lowered(std::string(text)).find("file") != std::string::npos) return;
  std::vector<std::string> arguments;
  for (FuzzInput input(text); !input.empty();) arguments.emplace_back(input.line());
  std::reverse(arguments.begin(), arguments.end());

  // To make these for each input would take most of its time.
  static tool::GlobalOptions options;
  static CLI::App app("fuzzed", "orxaccount");
  static const tool::GlobalOptions untouched = [] {
    app.require_subcommand(1);
    app.fallthrough();
    tool::addGlobalOptions(app, options);
    return options;
  }();
  options = untouched;
  tool::ParameterOptions parameters;
  int runs = 0;
  CLI::App& command = tool::addCommand(app, "register", "", [&] {
    ++runs;
    (void)tool::urlSessionConfiguration(options);
    for (const auto& [key, value] : parameters.parameters()) {
      ORX_FUZZ_CHECK(!tool::namesTicket(key));
      (void)value;
    }
  });
  parameters.addTo(command);
  parameters.addField(command, "--email", "Email", "");
  parameters.addOpenIDFields(command);
  parameters.addPasswordInput(command);
  try {
    app.parse(arguments);
    ORX_FUZZ_CHECK(runs == 1);
  } catch (const CLI::Error&) {
    ORX_FUZZ_CHECK(runs == 0);
  } catch (const tool::Failure& failure) {
    ORX_FUZZ_CHECK(failure.exitCode == tool::ExitCode::Usage && !failure.text.empty());
  } catch (const std::invalid_argument&) {
    // The library does not take what an option says.
  }
  app.clear();
  app.remove_subcommand(&command);
}
