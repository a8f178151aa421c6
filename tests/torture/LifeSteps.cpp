// SPDX-License-Identifier: MIT
#include "torture/LifeSteps.h"

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <chrono>
#include <map>
#include <stdexcept>
#include <utility>

#include "torture/Allocations.h"

namespace orx::torture {

namespace {

// A report that has not come by then is lost.
constexpr std::chrono::seconds patience{20};
constexpr const char* appID = "demo-app";
constexpr const char* appKey = "demo-key";

std::string text(const Dictionary& request, std::string_view key) {
  return request[key].text().value_or(std::string());
}

class Delegate final : public ORVAAccountLoginManagerDelegate {
 public:
  explicit Delegate(std::shared_ptr<Reports> reports) : reports_(std::move(reports)) {}
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& /*manager*/,
                                           const std::shared_ptr<ORVAAccountUser>& /*user*/,
                                           const std::shared_ptr<Error>& error) override {
    reports_->put(error);
  }

 private:
  const std::shared_ptr<Reports> reports_;
};

// No two accounts of a service have the same name.
std::string newName() {
  return "host-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
}

Dictionary newIdentity() {
  return {{kORVAAccountOpenIDType, "example"}, {kORVAAccountOpenIDUID, newName()}};
}

// Steps that report nothing.
const std::map<std::string, void (*)()>& silentSteps() {
  static const std::map<std::string, void (*)()> all{
      {"restore",
       [] {
         ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
             std::nullopt, appKey, appID, false);
       }},
      {"credentials",
       [] {
         ORVAAccount::sharedInstance()->setAppID(appID);
         ORVAAccount::sharedInstance()->setAppKey(appKey);
       }},
      {"connection", [] { ORVAAccountAPI::prepareConnection(); }},
      {"sign-out", [] { ORVAAccountLoginManager::sharedInstance()->logout(); }}};
  return all;
}

}  // namespace

void Reports::put(const std::shared_ptr<Error>& error) {
  const Spared here;
  const std::lock_guard guard(mutex_);
  ++count_;
  const std::string text = error ? error->domain() + " " + std::to_string(error->code()) + ": " +
                                       error->localizedDescription()
                                 : "";
  latest_ = text == expected_ ? done : text;
  arrived_.notify_one();
}

void Reports::expect(std::string error) {
  const std::lock_guard guard(mutex_);
  expected_ = std::move(error);
}

std::string Reports::take() {
  std::unique_lock lock(mutex_);
  if (!arrived_.wait_for(lock, patience, [this] { return latest_.has_value(); })) return "silent";
  return *std::exchange(latest_, std::nullopt);
}

std::int64_t Reports::count() const {
  const std::lock_guard guard(mutex_);
  return count_;
}

LifeSteps::LifeSteps(const Dictionary& request)
    : ticket_(text(request, "ticket")),
      password_{{kORVAAccountLogin, text(request, "login")},
                {kORVAAccountPassword, text(request, "password")}},
      wrongPassword_{{kORVAAccountLogin, text(request, "login")},
                     {kORVAAccountPassword, "wrong horse"}},
      identity_{{kORVAAccountOpenIDType, text(request, "openIDType")},
                {kORVAAccountOpenIDUID, text(request, "openIDUID")}},
      delegate_(std::make_shared<Delegate>(reports)) {}

Step LifeSteps::named(const std::string& name) {
  static const std::map<std::string, std::string> errors{
      {"refused sign-in", "com.orva.account 4: password error"},
      {"picture without an address",
       "NSURLErrorDomain -1000: could not make a request: no valid URL"}};
  const auto error = errors.find(name);
  reports->expect(error == errors.end() ? "" : error->second);
  if (name == "picture") return loadPicture(ORVAAccountUser::currentUser());
  if (name == "picture without an address") {
    return loadPicture(ORVAAccountUser::initWithUserInfo(Dictionary{{kORVAAccountPicture, "a b"}}));
  }
  if (name.find("sign-in") != std::string::npos) return signIn(name);
  const auto found = silentSteps().find(name);
  if (found == silentSteps().end()) return call(name);
  return [step = found->second] {
    step();
    return false;
  };
}

Step LifeSteps::signIn(const std::string& name) const {
  using Start = void (*)(const LifeSteps& life, ORVAAccountLoginManager& manager);
  static const std::map<std::string, Start> all{
      {"sign-in", [](auto& life, auto& manager) { manager.loginWithParameters(life.password_); }},
      {"refused sign-in",
       [](auto& life, auto& manager) { manager.loginWithParameters(life.wrongPassword_); }},
      {"sign-in by OpenID",
       [](auto& life, auto& manager) { manager.loginOpenIDWithParameters(life.identity_); }},
      {"sign-in by OpenID V2",
       [](auto& life, auto& manager) { manager.loginOpenIDV2WithParameters(life.identity_); }},
      {"sign-in by ticket",
       [](auto& life, auto& manager) { manager.loginWithTicket(life.ticket_); }}};
  return [this, start = all.at(name)] {
    const auto& manager = ORVAAccountLoginManager::sharedInstance();
    manager->setDelegate(std::weak_ptr<ORVAAccountLoginManagerDelegate>(delegate_));
    start(*this, *manager);
    return true;
  };
}

Step LifeSteps::call(const std::string& name) const {
  const auto start = operationNamed(name);
  return [this, start] {
    const auto client =
        ORVAAccountAPI::initWithOptions({{kORVAAccountAppID, appID}, {kORVAAccountAppKey, appKey}});
    start(*client, [reports = reports](const std::shared_ptr<ORVAAccountAPIResult>& result,
                                       const std::shared_ptr<Error>& error) {
      reports->put(error ? error : result->transferError());
    });
    return true;
  };
}

LifeSteps::Operation LifeSteps::operationNamed(const std::string& name) const {
  using API = ORVAAccountAPI;
  using Taking = void (API::*)(const Dictionary&, ORVAAccountAPICompletionHandler);
  if (name == "list") return &API::countryListWithCompletionHandler;
  const Dictionary ticket{{kORVAAccountTicket, ticket_}};
  if (name == "common call") {
    return [ticket](API& api, auto handler) {
      api.commonWithApiId_parameters_completionHandler("w000000013", ticket, std::move(handler));
    };
  }
  const auto account = newName() + "@example.com";
  const Dictionary newAccount{{kORVAAccountLogin, account},
                              {kORVAAccountEMail, account},
                              {kORVAAccountPassword, "correct horse"}};
  const std::map<std::string, std::pair<Taking, Dictionary>> all{
      {"register", {&API::register_completeHandler, newAccount}},
      {"register V2", {&API::registerV2WithParameters_completeHandler, newIdentity()}},
      {"login", {&API::login_completionHandler, password_}},
      {"login by OpenID", {&API::loginOpenID_completionHandler, identity_}},
      {"login by OpenID V2", {&API::loginOpenIDV2WithParameters_completionHandler, identity_}},
      {"user data", {&API::getUserData_completionHandler, {{kORVAAccounTicket, ticket_}}}},
      {"web sign-on", {&API::apToWebSSOWithParameters_completionHandler, ticket}}};
  return [chosen = all.at(name)](API& api, auto handler) {
    (api.*chosen.first)(chosen.second, std::move(handler));
  };
}

Step LifeSteps::loadPicture(const std::shared_ptr<ORVAAccountUser>& user) const {
  return [this, user] {
    if (!user) return false;
    user->loadProfileImageDataWithCompletionBlock(
        [reports = reports](const std::optional<Data>& /*data*/,
                            const std::shared_ptr<Error>& error) { reports->put(error); });
    return true;
  };
}

}  // namespace orx::torture
