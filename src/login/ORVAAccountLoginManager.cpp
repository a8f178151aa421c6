#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <functional>
#include <stdexcept>
#include <utility>

#include "login/LoginState.h"
#include "platform/base/Unicode.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace {

using UserInfo = std::optional<Dictionary>;

UserInfo userInfoAsItIs(const Value& returnData) {
  const Dictionary* record = returnData.dictionary();
  return record != nullptr ? UserInfo(*record) : std::nullopt;
}

// The JSON interface writes field names with a capital; the user record knows them without.
UserInfo userInfoWithLowerCaseFirstLetters(const Value& returnData) {
  Dictionary normalised;
  if (const Dictionary* record = returnData.dictionary()) {
    for (const DictionaryEntry& field : *record) {
      normalised.set(lowercasingFirstUTF16Unit(field.key), field.value);
    }
  }
  return normalised;
}

// What every parameter-based sign-in does with its outcome.
ORVAAccountAPICompletionHandler loginCompletion(std::shared_ptr<ORVAAccountLoginManager> manager,
                                                UserInfo (*userInfo)(const Value&)) {
  return
      [manager = std::move(manager), userInfo](const std::shared_ptr<ORVAAccountAPIResult>& result,
                                               const std::shared_ptr<Error>& error) {
        if (!error) {
          ORVAAccountUser::setCurrentUser(
              ORVAAccountUser::initWithUserInfo(userInfo(result->returnData())));
        }
        manager->didLoginWithUser_error(ORVAAccountUser::currentUser(), error);
      };
}

}  // namespace

std::shared_ptr<ORVAAccountAPI> clientForOneLogin() {
  const auto& account = ORVAAccount::sharedInstance();
  const auto appID = account->appID();
  const auto appKey = account->appKey();
  if (!appID || !appKey) {
    throw std::invalid_argument(
        "a sign-in needs the application ID and key that ORVAAccount is initialised with");
  }
  return ORVAAccountAPI::initWithOptions(
      {{std::string(kORVAAccountAppID), *appID}, {std::string(kORVAAccountAppKey), *appKey}});
}

ORVAAccountLoginManagerDelegate::~ORVAAccountLoginManagerDelegate() = default;

void ORVAAccountLoginManagerDelegate::loginManager_didLoginWithUser_error(
    ORVAAccountLoginManager& /*manager*/, const std::shared_ptr<ORVAAccountUser>& /*user*/,
    const std::shared_ptr<Error>& /*error*/) {}

ORVAAccountLoginManager::ORVAAccountLoginManager() : state_(std::make_unique<State>()) {}

ORVAAccountLoginManager::~ORVAAccountLoginManager() = default;

const std::shared_ptr<ORVAAccountLoginManager>& ORVAAccountLoginManager::sharedInstance() {
  static constinit ProcessWide<std::shared_ptr<ORVAAccountLoginManager>> instance;
  return instance.get([] {
    auto manager = init();
    manager->setLoginWithTicketTasks(std::vector<Dictionary>());
    return manager;
  });
}

std::shared_ptr<ORVAAccountLoginManager> ORVAAccountLoginManager::init() {
  return std::shared_ptr<ORVAAccountLoginManager>(new ORVAAccountLoginManager);
}

void ORVAAccountLoginManager::setLoginServerIsCN(bool isCN) {
  ORVAAccountAPI::setTargetServerWithIsCN(isCN);
}

bool ORVAAccountLoginManager::loginServerIsCN() { return ORVAAccountAPI::targetServerIsCN(); }

std::shared_ptr<ORVAAccountLoginManagerDelegate> ORVAAccountLoginManager::delegate() const {
  const BriefSection section;
  return state_->delegate.lock();
}

void ORVAAccountLoginManager::setDelegate(
    const std::weak_ptr<ORVAAccountLoginManagerDelegate>& delegate) {
  const BriefSection section;
  state_->delegate = delegate;
}

void ORVAAccountLoginManager::loginWithParameters(const std::optional<Dictionary>& parameters) {
  auto self = std::static_pointer_cast<ORVAAccountLoginManager>(shared_from_this());
  clientForOneLogin()->login_completionHandler(parameters,
                                               loginCompletion(std::move(self), userInfoAsItIs));
}

void ORVAAccountLoginManager::loginOpenIDWithParameters(
    const std::optional<Dictionary>& parameters) {
  auto self = std::static_pointer_cast<ORVAAccountLoginManager>(shared_from_this());
  clientForOneLogin()->loginOpenID_completionHandler(
      parameters, loginCompletion(std::move(self), userInfoAsItIs));
}

void ORVAAccountLoginManager::loginOpenIDV2WithParameters(
    const std::optional<Dictionary>& parameters) {
  auto self = std::static_pointer_cast<ORVAAccountLoginManager>(shared_from_this());
  clientForOneLogin()->loginOpenIDV2WithParameters_completionHandler(
      parameters, loginCompletion(std::move(self), userInfoWithLowerCaseFirstLetters));
}

void ORVAAccountLoginManager::logout() { ORVAAccountUser::setCurrentUser(nullptr); }

void ORVAAccountLoginManager::didLoginWithUser_error(const std::shared_ptr<ORVAAccountUser>& user,
                                                     const std::shared_ptr<Error>& error) {
  if (const auto receiver = delegate()) {
    receiver->loginManager_didLoginWithUser_error(*this, user, error);
  }
}

}  // namespace orx
