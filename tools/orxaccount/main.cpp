#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "Commands.h"
#include "Output.h"

namespace {

constexpr const char* kFooter =
    "Exit codes: 0 done, 1 the service refused, 2 wrong usage, 3 no answer, 4 nobody is signed "
    "in,\n"
    "5 something could not be stored or removed.\n"
    "Passwords and tickets are asked for, piped in or read from files; they are never arguments.";

int fail(const tool::GlobalOptions& options, const tool::Failure& failure) {
  tool::Output(options.json).printFailure(failure);
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
    return fail(options, tool::usageFailure(std::string(error.what()) + " (see --help)"));
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
  CLI::App app("Signs in to the account service and calls it.", "orxaccount");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  tool::GlobalOptions options;
  options.json = asksForJSON(argc, argv);
  tool::addGlobalOptions(app, options);
  tool::addAccountCommands(app, options);
  tool::addSignInCommands(app, options);
  tool::addServiceCommands(app, options);
  tool::addPictureCommand(app, options);

  int code = run(app, options, argc, argv);
  if (!std::cout.flush() && code == 0) {
    code = fail({}, {tool::ExitCode::Storage, "cannot write to standard output"});
  }
  return code;
}
