#include <ORXAccount/ORXAccount.h>

#include <memory>

#include "Commands.h"
#include "Output.h"
#include "Secrets.h"
#include "Session.h"

namespace tool {
namespace {

void showSignedIn(const GlobalOptions& options, const orx::ORVAAccountUser& user) {
  const auto text = [](const std::optional<std::string>& field) {
    return field ? orx::Value(*field) : orx::Value(nullptr);
  };
  const std::string name = user.login().value_or(user.email().value_or("a user without a name"));
  Output(options.json)
      .printDone("signed in as " + name + ", customer " + user.cusID().value_or("unknown"),
                 {{"signedIn", true},
                  {"login", text(user.login())},
                  {"cus_id", text(user.cusID())},
                  {"ticket", text(user.ticket())}});
}

void runLogin(const GlobalOptions& options, const ParameterOptions& input) {
  orx::Dictionary parameters = input.parameters();
  parameters.set(orx::kORVAAccountPassword, input.passwordFromInput()
                                                ? readSecretLine("--password-stdin")
                                                : askForSecret("Password", "--password-stdin"));
  Session session(options);
  showSignedIn(options, *session.signIn([&](orx::ORVAAccountLoginManager& manager) {
    manager.loginWithParameters(parameters);
  }));
}

void runLoginOpenID(const GlobalOptions& options, const ParameterOptions& input) {
  const orx::Dictionary parameters = input.parameters();
  Session session(options);
  showSignedIn(options, *session.signIn([&](orx::ORVAAccountLoginManager& manager) {
    manager.loginOpenIDWithParameters(parameters);
  }));
}

void runLoginOpenIDV2(const GlobalOptions& options, const ParameterOptions& input) {
  const orx::Dictionary parameters = input.parameters();
  Session session(options);
  showSignedIn(options, *session.signIn([&](orx::ORVAAccountLoginManager& manager) {
    manager.loginOpenIDV2WithParameters(parameters);
  }));
}

void runLoginTicket(const GlobalOptions& options, const ParameterOptions& input) {
  const std::string ticket = ticketFor(input);
  Session session(options);
  showSignedIn(options, *session.signIn([&](orx::ORVAAccountLoginManager& manager) {
    manager.loginWithTicket(ticket);
  }));
}

using Run = void (*)(const GlobalOptions&, const ParameterOptions&);

CLI::App* addCommand(CLI::App& app, const GlobalOptions& options, const char* name,
                     const char* description, const std::shared_ptr<ParameterOptions>& input,
                     Run run) {
  CLI::App* command = app.add_subcommand(name, description);
  command->callback([&options, input, run] { run(options, *input); });
  return command;
}

}  // namespace

void addSignInCommands(CLI::App& app, const GlobalOptions& options) {
  auto input = std::make_shared<ParameterOptions>();
  CLI::App* command =
      addCommand(app, options, "login", "Sign in with login name and password", input, runLogin);
  input->addField(*command, "--login", orx::kORVAAccountLogin, "Login name")->required();
  input->addTo(*command);
  input->addPasswordInput(*command);

  input = std::make_shared<ParameterOptions>();
  command = addCommand(app, options, "login-openid", "Sign in with an identity of another provider",
                       input, runLoginOpenID);
  input->addOpenIDFields(*command);
  input->addTo(*command);

  input = std::make_shared<ParameterOptions>();
  command = addCommand(app, options, "login-openid-v2",
                       "The same over the JSON interface, for an identity that has an account",
                       input, runLoginOpenIDV2);
  input->addOpenIDFields(*command);
  input->addTo(*command);

  input = std::make_shared<ParameterOptions>();
  command = addCommand(app, options, "login-ticket", "Sign in with a ticket issued elsewhere",
                       input, runLoginTicket);
  input->addTicketInput(*command);
  input->refuseSecrets(*command);
}

}  // namespace tool
