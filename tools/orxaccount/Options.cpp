#include "Options.h"

#include <ORXAccount/ORXAccount.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <utility>

#include "Failure.h"
#include "JSON.h"

namespace tool {
namespace {

constexpr const char* kNeverOnACommandLine =
    "a password or ticket on the command line would show in the process list (ps) and in the "
    "shell's history; leave it out to be asked for it, or pipe it in with --password-stdin or "
    "--ticket-stdin";

std::string lowered(std::string text) {
  for (char& letter : text) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return text;
}

bool isSecret(const std::string& key) {
  const std::string name = lowered(key);
  return name.find("passw") != std::string::npos || name == "pwd" || name == "ticket";
}

std::pair<std::string, std::string> splitPair(const std::string& pair, const char* option) {
  const auto equals = pair.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw usageFailure(std::string(option) + " takes KEY=VALUE, not '" + pair + "'");
  }
  std::string key = pair.substr(0, equals);
  if (isSecret(key)) throw usageFailure(option + (" " + key + ": ") + kNeverOnACommandLine);
  return {std::move(key), pair.substr(equals + 1)};
}

Failure noMapping(const std::string& text) {
  return usageFailure(
      "--connect takes HOST=ADDRESS:PORT, for example "
      "account.orva.example=127.0.0.1:8443, not '" +
      text + "'");
}

std::pair<std::string, orx::URLSessionConfiguration::Address> mapping(const std::string& text) {
  const auto equals = text.find('=');
  const auto colon = text.rfind(':');
  if (equals == std::string::npos || equals == 0 || colon == std::string::npos ||
      colon < equals + 2) {
    throw noMapping(text);
  }
  orx::URLSessionConfiguration::Address address;
  address.host = text.substr(equals + 1, colon - equals - 1);
  if (address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']') {
    address.host = address.host.substr(1, address.host.size() - 2);
  }
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data() + colon + 1, end, address.port);
  if (problem != std::errc() || stop != end || address.port == 0) throw noMapping(text);
  return {lowered(text.substr(0, equals)), std::move(address)};
}

}  // namespace

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  app.add_option("--app-id", options.appID, "The application's ID")->envname("ORXACCOUNT_APP_ID");
  app.add_option("--app-key", options.appKey, "The application's key")
      ->envname("ORXACCOUNT_APP_KEY");
  app.add_option("--identifier", options.identifier,
                 "The application identifier that the stored user belongs to")
      ->envname("ORXACCOUNT_IDENTIFIER")
      ->capture_default_str();
  app.add_option("--connect", options.connect,
                 "HOST=ADDRESS:PORT: reach HOST there; its certificate is checked all the same")
      ->envname("ORXACCOUNT_CONNECT")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->delimiter(',');
  app.add_option("--ca-file", options.caFile,
                 "PEM file of the certificate authorities to trust, instead of the system's")
      ->envname("ORXACCOUNT_CA_FILE");
  app.add_flag("--china", options.china, "Use the China servers");
  app.add_flag("--stage", options.stage, "Report the development servers' addresses");
  app.add_flag("--json", options.json, "Print one JSON object");
  app.add_flag("-v,--verbose", options.verbose,
               "Tell on standard error what observers and the delegate are told");
}

CLI::App& addCommand(CLI::App& app, const char* name, const char* description,
                     std::function<void()> run) {
  CLI::App* command = app.add_subcommand(name, description);
  command->callback(std::move(run));
  return *command;
}

void addText(CLI::App& command, const char* names, std::string& value, const char* description) {
  command.add_option(names, value, description);
}

void addRequiredText(CLI::App& command, const char* names, std::string& value,
                     const char* description) {
  command.add_option(names, value, description)->required();
}

orx::URLSessionConfiguration urlSessionConfiguration(const GlobalOptions& options) {
  auto configuration = orx::URLSessionConfiguration::defaultConfiguration();
  configuration.caFile = options.caFile;
  for (const std::string& text : options.connect) configuration.connectTo.insert(mapping(text));
  return configuration;
}

void ParameterOptions::addTo(CLI::App& command) {
  command.add_option("--set", pairs_, "KEY=VALUE: a parameter of text; may be repeated")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command
      .add_option("--set-json", jsonPairs_, "KEY=JSON: a parameter of any kind; may be repeated")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  refuseSecrets(command);
}

void ParameterOptions::refuseSecrets(CLI::App& command) {
  command
      .add_option_function<std::string>(
          "--password,--passwd,--ticket",
          [](const std::string&) { throw usageFailure(kNeverOnACommandLine); })
      ->group("");
}

std::function<void(const std::string&)> ParameterOptions::fieldSetter(std::string_view key) {
  Field* field = fields_.emplace_back(std::make_unique<Field>()).get();
  field->key = key;
  return [field](const std::string& value) {
    field->value = value;
    field->given = true;
  };
}

void ParameterOptions::addField(CLI::App& command, const char* names, std::string_view key,
                                const char* description) {
  command.add_option_function<std::string>(names, fieldSetter(key), description);
}

void ParameterOptions::addRequiredField(CLI::App& command, const char* names, std::string_view key,
                                        const char* description) {
  command.add_option_function<std::string>(names, fieldSetter(key), description)->required();
}

void ParameterOptions::addPasswordInput(CLI::App& command) {
  command.add_flag("--password-stdin", passwordFromInput_,
                   "Read the password from a line of standard input");
}

void ParameterOptions::addTicketInput(CLI::App& command) {
  command.add_flag("--ticket-stdin", ticketFromInput_,
                   "Read the ticket from a line of standard input");
}

void ParameterOptions::addOpenIDFields(CLI::App& command) {
  addRequiredField(command, "--type", orx::kORVAAccountOpenIDType, "The provider's name");
  addRequiredField(command, "--uid", orx::kORVAAccountOpenIDUID, "The user's identity there");
}

orx::Dictionary ParameterOptions::parameters() const {
  orx::Dictionary parameters;
  for (const auto& field : fields_) {
    if (field->given) parameters.set(field->key, field->value);
  }
  for (const std::string& pair : pairs_) {
    auto [key, value] = splitPair(pair, "--set");
    parameters.set(std::move(key), std::move(value));
  }
  for (const std::string& pair : jsonPairs_) {
    auto [key, text] = splitPair(pair, "--set-json");
    std::optional<orx::Value> value = valueFromJSON(text);
    if (!value) {
      throw usageFailure(std::string("--set-json ")
                             .append(key)
                             .append(": '")
                             .append(text)
                             .append("' is not JSON"));
    }
    parameters.set(std::move(key), std::move(*value));
  }
  return parameters;
}

}  // namespace tool
