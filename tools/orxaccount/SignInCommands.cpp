// SPDX-License-Identifier: MIT
#include <ORXAccount/ORXAccount.h>

#include <memory>

#include "Commands.h"
#include "Output.h"
#include "Secrets.h"
#include "Session.h"

namespace tool {
namespace {

void showSignedIn(const GlobalOptions& options, const orx::ORVAAccountUser& user) {
  const std::string name = user.login().value_or(user.email().value_or("a user without a name"));
  std::string sentence = "signed in as " + name + ", customer " + user.cusID().value_or("unknown");
  if (options.showTicket) sentence += ", ticket " + user.ticket().value_or("none");
  Output(options).printDone(sentence, {{"signedIn", true},
                                       {"login", user.login()},
                                       {"cus_id", user.cusID()},
                                       {"ticket", user.ticket()}});
}

void runLogin(const GlobalOptions& options, const ParameterOptions& input) {
  orx::Dictionary parameters = input.parameters();
  Session session(options);
  // The connection is there by the time the password has been typed.
  if (!input.passwordFromInput()) orx::ORVAAccountAPI::prepareConnection();
  parameters.set(orx::kORVAAccountPassword, input.passwordFromInput()
                                                ? readSecretLine("--password-stdin")
                                                : askForSecret("Password", "--password-stdin"));
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

}  // namespace

void addSignInCommands(CLI::App& app, const GlobalOptions& options) {
  using Run = void (*)(const GlobalOptions&, const ParameterOptions&);
  const auto add = [&](const char* name, const char* description,
                       const std::shared_ptr<ParameterOptions>& input, Run run) -> CLI::App& {
    return addCommand(app, name, description, [&options, input, run] { run(options, *input); });
  };

  auto input = std::make_shared<ParameterOptions>();
  CLI::App& login = add("login", "Sign in with login name and password", input, runLogin);
  input->addRequiredField(login, "--login", orx::kORVAAccountLogin, "Login name");
  input->addTo(login);
  input->addPasswordInput(login);

  input = std::make_shared<ParameterOptions>();
  CLI::App& openID =
      add("login-openid", "Sign in with an identity of another provider", input, runLoginOpenID);
  input->addOpenIDFields(openID);
  input->addTo(openID);

  input = std::make_shared<ParameterOptions>();
  CLI::App& openIDV2 = add("login-openid-v2",
                           "The same over the JSON interface, for an identity that has an account",
                           input, runLoginOpenIDV2);
  input->addOpenIDFields(openIDV2);
  input->addTo(openIDV2);

  input = std::make_shared<ParameterOptions>();
  CLI::App& ticket =
      add("login-ticket", "Sign in with a ticket issued elsewhere", input, runLoginTicket);
  input->addTicketInput(ticket);
  input->refuseSecrets(ticket);
}

}  // namespace tool
