// SPDX-License-Identifier: MIT
#include <ORXAccount/ORXAccount.h>

#include <memory>
#include <utility>

#include "Commands.h"
#include "Output.h"
#include "Progress.h"
#include "Secrets.h"
#include "Session.h"

namespace tool {
namespace {

void addProfileFields(CLI::App& command, ParameterOptions& input) {
  input.addField(command, "--login", orx::kORVAAccountLogin, "Login name, an e-mail address");
  input.addField(command, "--email", orx::kORVAAccountEMail, "E-mail address");
  input.addField(command, "--first-name", orx::kORVAAccountFirstName, "First name");
  input.addField(command, "--last-name", orx::kORVAAccountLastName, "Last name");
  input.addField(command, "--nick-name", orx::kORVAAccountNickName, "Nickname");
  input.addField(command, "--country", orx::kORVAAccountCountry, "Country, for example DEU");
  input.addField(command, "--mobile", orx::kORVAAccountMobile, "Mobile number");
  input.addField(command, "--birthdate", orx::kORVAAccountBirthDate,
                 "Birth date, for example 1985-07-14T00:00:00");
}

// The JSON interface begins its fields with a capital letter.
const orx::Value& customerIn(const orx::ORVAAccountAPIResult& result) {
  static const orx::Value none;
  const orx::Dictionary* fields = result.returnData().dictionary();
  if (fields == nullptr) return none;
  const orx::Value& customer = (*fields)[orx::kORVAAccountCusID];
  return customer.isNull() ? (*fields)["Cus_id"] : customer;
}

void showRegistered(const GlobalOptions& options, const orx::ORVAAccountAPIResult& result) {
  const orx::Value& customer = customerIn(result);
  Output(options).printDone("registered as customer " + customer.text().value_or("unknown"),
                            {{"registered", true},
                             {orx::kORVAAccountCusID, customer},
                             {"description", result.resultDescription()}});
}

void runRegister(const GlobalOptions& options, const ParameterOptions& input) {
  orx::Dictionary parameters = input.parameters();
  const std::string password = input.passwordFromInput()
                                   ? readSecretLine("--password-stdin")
                                   : askForNewSecret("Password", "--password-stdin");
  parameters.set(orx::kORVAAccountPassword, password);
  const Session session(options);
  showRegistered(options, *session.call(orx::calls::registerAccount(session.client(), parameters)));
}

void runRegisterV2(const GlobalOptions& options, const ParameterOptions& input) {
  const orx::Dictionary parameters = input.parameters();
  const Session session(options);
  showRegistered(options, *session.call(orx::calls::registerV2(session.client(), parameters)));
}

void runWhoAmI(const GlobalOptions& options) {
  const Session session(options);
  const auto user = Session::signedInUser();
  const auto picture = user->pictureURL();
  orx::Dictionary fields{{"login", user->login()},
                         {"cus_id", user->cusID()},
                         {"email", user->email()},
                         {"first_name", user->firstName()},
                         {"last_name", user->lastName()},
                         {"nick_name", user->nickName()},
                         {"country", user->country()},
                         {"mobile", user->mobile()},
                         {"birthdate", user->birthdateString()},
                         {"picture", picture ? orx::Value(picture->absoluteString()) : nullptr}};
  fields.set("ticket", user->ticket());
  if (options.json) {
    fields.set("userInfo", user->userInfo());
  }
  Output(options).printFields(fields);
}

// Throws a Failure when something of a user is, or may be, still stored: the ticket in it opens the
// account for whoever reads it.
void requireNothingLeft(const std::string& what) {
  orx::KeychainStatus status = orx::keychainStatus();
  // A reading removes what belongs to nobody, and finds what cannot be removed.
  const auto stored = orx::ORVAAccountUserCache::sharedInstance()->cachedUser();
  if (status.lastError() == orx::errSecSuccess) status = orx::keychainStatus();
  if (!stored && status.lastError() == orx::errSecSuccess) return;
  std::string text = what + ", but a stored user may still be there.";
  for (const std::string& more : {status.description(), status.remedy()}) {
    if (!more.empty()) text += ' ' + more;
  }
  throw Failure{ExitCode::Storage, std::move(text)};
}

void runLogout(const GlobalOptions& options) {
  const Session session(options);
  const auto user = orx::ORVAAccountUser::currentUser();
  if (!user) {
    requireNothingLeft("nobody is signed in");
    throw nobodySignedIn();
  }
  {
    const Progress progress("waiting for the store of the user");
    orx::ORVAAccountLoginManager::sharedInstance()->logout();
  }
  const std::string name = user->login().value_or(user->cusID().value_or("the user"));
  requireNothingLeft("signed out " + name);
  Output(options).printDone("signed out " + name, {{"signedOut", user->login()}});
}

void runStatus(const GlobalOptions& options) {
  const Session session(options);
  const auto& account = orx::ORVAAccount::sharedInstance();
  const auto user = orx::ORVAAccountUser::currentUser();
  const auto text = [](const std::optional<orx::URL>& url) {
    return url ? orx::Value(url->absoluteString()) : orx::Value(nullptr);
  };
  const auto keychain = orx::keychainStatus();
  const auto orNothing = [](const std::string& line) {
    return line.empty() ? orx::Value(nullptr) : orx::Value(line);
  };
  Output(options).printFields(
      {{"version", ORX_VERSION},
       {"signedIn", user != nullptr},
       {"login", user ? user->login() : std::nullopt},
       {"identifier", options.identifier},
       {"servers", orx::ORVAAccountAPI::targetServerIsCN() ? "china" : "global"},
       {"stage", account->isStage()},
       {"lumCusInfoURL", text(account->lumCusInfoURL())},
       {"orvaServiceURL", text(account->orvaServiceURL())},
       {"credentials", account->appID() && account->appKey() ? "set" : "missing"},
       {"store", keychain.store()},
       {"storeEncrypted", keychain.encryptedAtRest()},
       {"storeLocked", keychain.locked()},
       {"storeError", keychain.lastError()},
       {"storeProblem", orNothing(keychain.description())},
       {"storeRemedy", orNothing(keychain.remedy())}});
}

}  // namespace

void printVersions(const GlobalOptions& options) {
  orx::Bundle::mainBundle()->setBundleIdentifier(options.identifier);
  {
    const Progress progress("waiting for the store of the user");
    orx::ORVAAccountUserCache::sharedInstance()->cachedUser();
  }
  Output(options).printFields({{"orxaccount", ORX_VERSION},
                               {"library", orx::ORXAccountVersions()},
                               {"store", orx::keychainStatus().store()}});
}

void addAccountCommands(CLI::App& app, const GlobalOptions& options) {
  auto input = std::make_shared<ParameterOptions>();
  CLI::App& registering = addCommand(app, "register", "Create an account",
                                     [&options, input] { runRegister(options, *input); });
  addProfileFields(registering, *input);
  input->addTo(registering);
  input->addPasswordInput(registering);

  input = std::make_shared<ParameterOptions>();
  CLI::App& withOpenID =
      addCommand(app, "register-openid-v2", "Create an account for an identity of another provider",
                 [&options, input] { runRegisterV2(options, *input); });
  addProfileFields(withOpenID, *input);
  input->addOpenIDFields(withOpenID);
  input->addTo(withOpenID);

  addCommand(app, "whoami", "Show the signed-in user", [&options] { runWhoAmI(options); });
  addCommand(app, "logout", "Sign out on this machine", [&options] { runLogout(options); });
  addCommand(app, "status", "Show who is signed in and which servers are used",
             [&options] { runStatus(options); });
}

}  // namespace tool
