// SPDX-License-Identifier: MIT
#include "Options.h"

#include <ORXAccount/ORXAccount.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Failure.h"
#include "JSON.h"
#include "Proxy.h"
#include "Secrets.h"

namespace tool {
namespace {

constexpr const char* kNeverOnACommandLine =
    "a password, ticket or key on the command line would show in the process list (ps) and in the "
    "shell's history; leave it out to be asked for it, pipe it in with --password-stdin or "
    "--ticket-stdin, or name a file that holds it with --set-file or --set-json-file";

// Whether a parameter of that name holds what nobody else may read: "passwd", "sso_ticket", "PIN".
bool isSecret(const std::string& key) {
  const std::string name = lettersOf(key);
  constexpr std::array kMarks = {"passw",  "passphrase", "passcode",  "pwd",
                                 "ticket", "secret",     "token",     "appkey",
                                 "apikey", "privatekey", "credential"};
  // Within a name these are often something else: "passport", "pinboard".
  constexpr std::array kWholeNames = {"pass", "pin", "otp", "totp", "cvv", "cvc", "jwt"};
  return std::any_of(kMarks.begin(), kMarks.end(),
                     [&](const char* mark) { return name.find(mark) != std::string::npos; }) ||
         std::any_of(kWholeNames.begin(), kWholeNames.end(),
                     [&](const char* whole) { return name == whole; });
}

// The first key of a secret, at any depth; empty when there is none.
std::string secretIn(const orx::Value& value) {
  std::string found;
  if (const orx::Array* array = value.array()) {
    for (std::size_t i = 0; i < array->size() && found.empty(); ++i) found = secretIn((*array)[i]);
  }
  if (const orx::Dictionary* dictionary = value.dictionary()) {
    for (const auto& [key, entry] : *dictionary) {
      if (!found.empty()) break;
      found = isSecret(key) ? key : secretIn(entry);
    }
  }
  return found;
}

void refuseSecret(const std::string& key, const std::string& option) {
  if (isSecret(key)) throw usageFailure(option + " " + key + ": " + kNeverOnACommandLine);
}

std::pair<std::string, std::string> splitPair(const std::string& pair, const std::string& option) {
  const auto equals = pair.find('=');
  if (equals == std::string::npos || equals == 0) {
    // The text is not repeated: it may be a secret whose key was forgotten.
    throw usageFailure(option + " takes KEY=VALUE: there is no '=' behind a key");
  }
  return {pair.substr(0, equals), pair.substr(equals + 1)};
}

orx::Value requireJSON(const std::string& text, const std::string& what) {
  std::optional<orx::Value> value = valueFromJSON(text);
  if (!value) throw usageFailure(what + " is not JSON, or is nested too deep");
  return *std::move(value);
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

void addServerOptions(CLI::App& app, GlobalOptions& options) {
  CLI::Option* host = app.add_option("--host", options.host,
                                     "The service's host, instead of those that were built in")
                          ->type_name("HOST[:PORT]")
                          ->envname("ORXACCOUNT_HOST");
  app.add_option("--china-host", options.chinaHost, "The host of its China server, else --host")
      ->type_name("HOST[:PORT]")
      ->envname("ORXACCOUNT_CHINA_HOST")
      ->needs(host);
  app.add_option("--stage-host", options.stageHost,
                 "The host of its development server, else --host")
      ->type_name("HOST[:PORT]")
      ->envname("ORXACCOUNT_STAGE_HOST")
      ->needs(host);
  app.add_option("--namespace", options.serviceNamespace,
                 "The namespace of its elements, else the one that was built in")
      ->type_name("URI")
      ->envname("ORXACCOUNT_NAMESPACE")
      ->needs(host);
}

// What the variable holds, unless it is empty.
std::optional<std::string> fromEnvironment(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr && *text != 0 ? std::optional<std::string>(text) : std::nullopt;
}

void addApplication(CLI::App& app, GlobalOptions& options) {
  app.add_option("--app-id", options.appID, "The application's ID")
      ->type_name("ID")
      ->envname("ORXACCOUNT_APP_ID");
  options.appKey = fromEnvironment("ORXACCOUNT_APP_KEY");
  app.add_option_function<std::string>(
         "--app-key-file",
         [&options](const std::string& file) { options.appKey = readSecretFile(file); },
         "A file that holds the application's key, instead of ORXACCOUNT_APP_KEY, which holds the "
         "key itself")
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--app-key",
         [](const std::string&) {
           throw usageFailure(
               "--app-key: the key would show in the process list (ps); put it into the variable "
               "ORXACCOUNT_APP_KEY, or name its file with --app-key-file");
         })
      ->group("");
  app.add_option("--identifier", options.identifier,
                 "The application identifier that the stored user belongs to")
      ->type_name("ID")
      ->envname("ORXACCOUNT_IDENTIFIER")
      ->capture_default_str();
}

std::chrono::milliseconds secondsIn(const std::string& text, const std::string& option) {
  constexpr double kLongest = 1e6;
  double seconds = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, seconds);
  if (problem != std::errc() || stop != end || !(seconds >= 0.001 && seconds <= kLongest)) {
    throw usageFailure(option +
                       " takes a number of seconds up to a million, for example 2.5, not '" + text +
                       '\'');
  }
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

void addTime(CLI::App& app, const char* name, std::optional<std::chrono::milliseconds>& time,
             const char* description, const char* variable) {
  app.add_option_function<std::string>(
         name, [&time, name](const std::string& text) { time = secondsIn(text, name); },
         description)
      ->type_name("SECONDS")
      ->envname(variable);
}

// What no call could be made with is told before one is.
void requireUsable(const GlobalOptions& options) {
  if (options.caFile && access(options.caFile->c_str(), R_OK) != 0) {
    throw usageFailure("--ca-file: cannot read '" + *options.caFile + "': " + std::strerror(errno));
  }
  // Not repeated, for it may hold a password.
  if (options.proxy && !options.proxy->empty() && !isProxy(*options.proxy)) {
    throw usageFailure(
        "--proxy takes the URL of a proxy, for example socks5h://localhost:1080; its scheme is one "
        "of http, https, socks4, socks4a, socks5 and socks5h");
  }
}

void addTransfer(CLI::App& app, GlobalOptions& options) {
  app.add_option("--connect", options.connect,
                 "Reach HOST there; its certificate is checked all the same; may be repeated")
      ->type_name("HOST=ADDRESS:PORT")
      ->envname("ORXACCOUNT_CONNECT")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->delimiter(',');
  app.add_option("--ca-file", options.caFile,
                 "PEM file of the certificate authorities to trust, instead of the system's")
      ->type_name("FILE")
      ->envname("ORXACCOUNT_CA_FILE");
  options.proxy = fromEnvironment("ORXACCOUNT_PROXY");
  app.add_option_function<std::string>(
         "--proxy",
         [&options](const std::string& url) {
           if (holdsPassword(url)) {
             throw usageFailure(
                 "--proxy: the password would show in the process list (ps); put the URL into the "
                 "variable ORXACCOUNT_PROXY, or name a file that holds it with --proxy-file");
           }
           options.proxy = url;
         },
         "The proxy, for example socks5h://localhost:1080, instead of the one that https_proxy "
         "names; an empty text means none")
      ->type_name("URL");
  app.add_option_function<std::string>(
         "--proxy-file",
         [&options](const std::string& file) { options.proxy = readSecretFile(file); },
         "A file that holds the proxy's URL, for one with a password, instead of ORXACCOUNT_PROXY")
      ->type_name("FILE");
  addTime(app, "--timeout", options.timeout, "How long to wait without any progress [60]",
          "ORXACCOUNT_TIMEOUT");
  addTime(app, "--max-time", options.longestCall,
          "How long a call may take as a whole, though it makes progress [a week]",
          "ORXACCOUNT_MAX_TIME");
}

}  // namespace

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
  addApplication(app, options);
  addServerOptions(app, options);
  addTransfer(app, options);
  app.add_flag("--china", options.china, "Use the China servers");
  app.add_flag("--stage", options.stage, "Report the development servers' addresses");
  app.add_flag("--json", options.json, "Print one JSON object");
  app.add_flag("-v,--verbose", options.verbose,
               "Tell on standard error what observers, the delegate and the log handler are told");
  app.add_flag("--show-ticket", options.showTicket,
               "Print tickets too; whoever reads one can act as the user");
}

CLI::App& addCommand(CLI::App& app, const char* name, const char* description,
                     std::function<void()> run) {
  CLI::App* command = app.add_subcommand(name, description);
  command->callback(std::move(run));
  return *command;
}

void addText(CLI::App& command, const char* names, std::string& value, const char* description,
             const char* type) {
  command.add_option(names, value, description)->type_name(type);
}

void addRequiredText(CLI::App& command, const char* names, std::string& value,
                     const char* description) {
  command.add_option(names, value, description)->required();
}

void addFlag(CLI::App& command, const char* name, bool& value, const char* description) {
  command.add_flag(name, value, description);
}

orx::URLSessionConfiguration urlSessionConfiguration(const GlobalOptions& options) {
  requireUsable(options);
  auto configuration = orx::URLSessionConfiguration::defaultConfiguration();
  configuration.setCaFile(options.caFile);
  // Backwards, since of two addresses for one host the first counts.
  std::for_each(options.connect.rbegin(), options.connect.rend(), [&](const std::string& text) {
    const auto [host, address] = mapping(text);
    configuration.setConnectTo(host, address);
  });
  configuration.setProxy(options.proxy);
  if (options.timeout) configuration.setTimeoutIntervalForRequest(*options.timeout);
  if (options.longestCall) configuration.setTimeoutIntervalForResource(*options.longestCall);
  return configuration;
}

void ParameterOptions::addTo(CLI::App& command) {
  const auto add = [&](const char* name, std::vector<std::string>& pairs, const char* type,
                       const char* description) {
    command.add_option(name, pairs, description)
        ->type_name(type)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  add("--set", pairs_, "KEY=VALUE", "A parameter of text; may be repeated");
  add("--set-json", jsonPairs_, "KEY=JSON", "A parameter of any kind; may be repeated");
  add("--set-file", filePairs_, "KEY=FILE", "A parameter whose text the file holds, for secrets");
  add("--set-json-file", jsonFilePairs_, "KEY=FILE", "A parameter whose JSON the file holds");
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
  Field* field = &fields_.emplace_back();
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
    if (field.given) parameters.set(field.key, field.value);
  }
  for (const std::string& pair : pairs_) {
    auto [key, value] = splitPair(pair, "--set");
    refuseSecret(key, "--set");
    parameters.set(std::move(key), std::move(value));
  }
  for (const std::string& pair : jsonPairs_) {
    auto [key, text] = splitPair(pair, "--set-json");
    refuseSecret(key, "--set-json");
    // The text is not repeated: it may hold a secret, and one brace less than it should.
    orx::Value value = requireJSON(text, "--set-json " + key);
    refuseSecret(secretIn(value), "--set-json");
    parameters.set(std::move(key), std::move(value));
  }
  for (const std::string& pair : filePairs_) {
    auto [key, file] = splitPair(pair, "--set-file");
    parameters.set(std::move(key), readSecretFile(file));
  }
  for (const std::string& pair : jsonFilePairs_) {
    auto [key, file] = splitPair(pair, "--set-json-file");
    parameters.set(std::move(key), requireJSON(readSecretFile(file), file));
  }
  return parameters;
}

}  // namespace tool
