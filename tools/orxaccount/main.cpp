// SPDX-License-Identifier: MIT
#include <pages/Pages.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Commands.h"
#include "Output.h"

namespace {

const std::vector<pages::Manual::Entry> kExitCodes = {
    {"0", "Done."},
    {"1", "The service refused, or its answer could not be used."},
    {"2", "Wrong usage, or values that cannot be sent."},
    {"3", "No complete answer came."},
    {"4", "Nobody is signed in."},
    {"5", "Something could not be stored or removed."},
};

constexpr const char* kSecrets =
    "Passwords and tickets are asked for, piped in or read from files; they are never\n"
    "arguments.";

pages::Manual manual() {
  return {.version = ORX_VERSION,
          .variables = {{"ORXACCOUNT_APP_KEY", "The application's key itself."},
                        {"ORXACCOUNT_PROXY",
                         "The proxy's URL, with name and password where it asks for them."}},
          .exitCodes = kExitCodes,
          .sections = {{"SECRETS", kSecrets}}};
}

std::string footer() {
  std::string text = "Exit codes:\n";
  for (const auto& [code, meaning] : kExitCodes) {
    text.append("  ").append(code).append("  ").append(meaning).append("\n");
  }
  return text + '\n' + kSecrets;
}

int fail(const tool::GlobalOptions& options, const tool::Failure& failure) {
  tool::Output(options).printFailure(failure);
  return static_cast<int>(failure.exitCode);
}

// Looked for before the arguments are parsed: what is wrong with them is told as JSON too.
bool asksForJSON(int argc, char** argv) {
  return std::any_of(argv, argv + argc, [](std::string_view text) { return text == "--json"; });
}

int run(CLI::App& app, const tool::GlobalOptions& options, int argc, char** argv) {
  try {
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return fail(options, tool::usageFailure(pages::explanation(app, error) + " (see --help)"));
  } catch (const tool::Failure& failure) {
    return fail(options, failure);
  } catch (const std::invalid_argument& misuse) {
    return fail(options, tool::usageFailure(misuse.what()));
  } catch (const std::system_error& shortage) {
    return fail(options, {tool::ExitCode::Transport,
                          std::string("the system has no thread for a call: ") + shortage.what()});
  } catch (const std::bad_alloc&) {
    return fail(options, {tool::ExitCode::Transport, "memory has run out"});
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Command line of an account service.", "orxaccount");
  pages::addTo(app, manual());
  app.footer(footer());
  app.require_subcommand(1);
  app.fallthrough();
  tool::GlobalOptions options;
  options.json = asksForJSON(argc, argv);
  tool::addGlobalOptions(app, options);
  app.add_flag_callback(
      "--version",
      [&options] {
        tool::printVersions(options);
        throw CLI::Success();
      },
      "Print the versions of the program and of what it uses, and which store keeps users");
  tool::addAccountCommands(app, options);
  tool::addSignInCommands(app, options);
  tool::addServiceCommands(app, options);
  tool::addPictureCommand(app, options);
  pages::addHelpCommand(app);

  int code = run(app, options, argc, argv);
  if (!std::cout.flush() && code == 0) {
    code = fail({}, {tool::ExitCode::Storage, "cannot write to standard output"});
  }
  return code;
}
