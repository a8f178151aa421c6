// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <ORXAccount/platform/Value.h>

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The parser's own header is compiled in Options.cpp and main.cpp alone: it weighs more than the
// rest of a command's source.
namespace CLI {
class App;
}

namespace tool {

// The options that every command takes.
struct GlobalOptions {
  std::optional<std::string> appID;
  std::optional<std::string> appKey;
  std::optional<std::string> host;
  std::optional<std::string> chinaHost;
  std::optional<std::string> stageHost;
  std::optional<std::string> serviceNamespace;
  std::string identifier = "com.orva.account.cli";
  std::vector<std::string> connect;
  std::optional<std::string> caFile;
  std::optional<std::string> proxy;
  std::optional<std::chrono::milliseconds> timeout;
  std::optional<std::chrono::milliseconds> longestCall;
  bool china = false;
  bool stage = false;
  bool json = false;
  bool verbose = false;
  bool showTicket = false;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options);

// Adds a command that runs `run` when it has been parsed.
CLI::App& addCommand(CLI::App& app, const char* name, const char* description,
                     std::function<void()> run);
// Adds an option or, for names without a dash, an argument whose text goes to `value`. `type` is
// what the help calls the text; one that ends in FILE is completed to a file's name.
void addText(CLI::App& command, const char* names, std::string& value, const char* description,
             const char* type);
void addRequiredText(CLI::App& command, const char* names, std::string& value,
                     const char* description);
void addFlag(CLI::App& command, const char* name, bool& value, const char* description);

// The library's configuration for these options. Throws a Failure for a malformed --connect.
orx::URLSessionConfiguration urlSessionConfiguration(const GlobalOptions& options);

// Where the parameters of one command come from: named options, --set, --set-json, files, and
// secrets that never stand on a command line.
class ParameterOptions {
 public:
  // Adds --set, --set-json and the two that read files, and refuses secrets.
  void addTo(CLI::App& command);
  // Makes --password and --ticket say why they are refused.
  static void refuseSecrets(CLI::App& command);
  // Adds an option whose text becomes the parameter `key`.
  void addField(CLI::App& command, const char* names, std::string_view key,
                const char* description);
  void addRequiredField(CLI::App& command, const char* names, std::string_view key,
                        const char* description);
  // Adds --password-stdin or --ticket-stdin.
  void addPasswordInput(CLI::App& command);
  void addTicketInput(CLI::App& command);
  // Adds --type and --uid, an identity of another provider; both are required.
  void addOpenIDFields(CLI::App& command);

  bool passwordFromInput() const { return passwordFromInput_; }
  bool ticketFromInput() const { return ticketFromInput_; }

  // The parameters but for the password and the ticket that are asked for, in the order: named
  // options, --set, --set-json, --set-file, --set-json-file. Throws a Failure for a pair without
  // "=", with malformed JSON or with a file that cannot be read, and for an argument that holds a
  // secret.
  orx::Dictionary parameters() const;

 private:
  struct Field {
    std::string key;
    std::string value;
    bool given = false;
  };

  std::function<void(const std::string&)> fieldSetter(std::string_view key);

  // No vector: the parser keeps the address of each.
  std::deque<Field> fields_;
  std::vector<std::string> pairs_;
  std::vector<std::string> jsonPairs_;
  std::vector<std::string> filePairs_;
  std::vector<std::string> jsonFilePairs_;
  bool passwordFromInput_ = false;
  bool ticketFromInput_ = false;
};

}  // namespace tool
