// SPDX-License-Identifier: MIT
#include "devserver/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <string>

#include "devserver/ListeningSocket.h"

namespace orx::devserver {
namespace {

void addApplication(DevelopmentServiceOptions& options, const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || colon == 0) {
    throw CLI::ValidationError("--app", "an application is given as ID:KEY");
  }
  options.applications[text.substr(0, colon)] = text.substr(colon + 1);
}

void addNetworkOptions(CLI::App& app, DevelopmentServiceOptions& options) {
  app.add_option("--port", options.port, "Listen there; without it the system chooses")
      ->check(CLI::Range(0, 65535).description(""))
      ->type_name("PORT");
  app.add_option("--bind", options.address,
                 "Listen at this IP address; beyond loopback, the network can use the accounts")
      ->check([](const std::string& text) {
        return isIPAddress(text) ? "" : text + " is no IP address";
      })
      ->type_name("ADDRESS");
  app.add_option("--link-host", options.linkHost,
                 "Links of web single sign-on lead to this host and the port of the service, so "
                 "that a browser can open them: localhost for one on this machine")
      ->type_name("HOST");
  app.add_option("--global-host", options.globalHost, "Answer for this host as the global server")
      ->type_name("HOST");
  app.add_option("--china-host", options.chinaHost, "Answer for this host as the China server")
      ->type_name("HOST");
  app.add_option("--namespace", options.serviceNamespace,
                 "Know SOAP calls in this namespace only; without it in any")
      ->type_name("URI");
}

CLI::Option* addFile(CLI::App& app, const char* name, std::filesystem::path& file,
                     const char* description) {
  return app
      .add_option_function<std::string>(
          name, [&file](const std::string& text) { file = text; }, description)
      ->type_name("FILE");
}

void addContentOptions(CLI::App& app, DevelopmentServiceOptions& options) {
  addFile(app, "--database", options.database,
          "Keep the accounts in an SQLite file; without it in memory");
  addFile(app, "--accounts", options.accounts, "Add the accounts of this JSON file at the start");
  app.add_option_function<std::vector<std::string>>(
         "--app",
         [&options](const std::vector<std::string>& texts) {
           for (const std::string& text : texts) addApplication(options, text);
         },
         "Accept this application beside demo-app:demo-key; may be repeated")
      ->type_name("ID:KEY")
      ->allow_extra_args(false);
  addFile(app, "--fault-plan", options.faults, "Misbehave as this JSON file says");
}

void addAuthorityOptions(CLI::App& app, DevelopmentServiceOptions& options) {
  addFile(app, "--ca-out", options.caOut,
          "Write the certificate authority's certificate there; without it to a private folder");
  CLI::Option* certificate = addFile(app, "--ca-cert", options.caCertificate,
                                     "Use this certificate authority instead of a fresh one");
  CLI::Option* key = addFile(app, "--ca-key", options.caKey, "Its private key");
  certificate->needs(key);
  key->needs(certificate);
  addFile(app, "--ca-key-out", options.caKeyOut,
          "Keep the authority's private key, for --ca-key of the next run");
}

}  // namespace

void addOptions(CLI::App& app, ProgramOptions& options) {
  addNetworkOptions(app, options.service);
  addContentOptions(app, options.service);
  addAuthorityOptions(app, options.service);
  addFile(app, "--log", options.service.log,
          "Append a line of JSON for each request, without any secret; - is the standard output");
  addFile(app, "--control", options.service.control,
          "Make a Unix socket that sets faults, adds accounts and resets while the service runs");
  app.add_flag("--exit-with-stdin", options.exitWithStandardInput,
               "End when the standard input is closed");
}

}  // namespace orx::devserver
