// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>

#include <utility>
#include <vector>

#include "config/Servers.h"
#include "platform/base/Wiping.h"
#include "platform/keychain/StoreStatus.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;
using namespace config;

struct ORVAAccount::State {
  Guarded<bool> isStage;
  Guarded<std::optional<std::string>> appID;
  Guarded<std::optional<std::string>> appKey;
  Guarded<std::optional<URL>> lumCusInfoURL;
  Guarded<std::optional<URL>> orvaServiceURL;
  // One for each initialisation: a repeated one registers again. Changed in brief sections.
  std::vector<Observation> observations;
};

ORVAAccount::ORVAAccount() : state_(std::make_unique<State>()) {}

ORVAAccount::~ORVAAccount() = default;

const std::shared_ptr<ORVAAccount>& ORVAAccount::sharedInstance() {
  static constinit ProcessWide<std::shared_ptr<ORVAAccount>> instance;
  return instance.get([] { return std::shared_ptr<ORVAAccount>(new ORVAAccount); });
}

void ORVAAccount::initializeWithLaunchOptions_appKey_appID_isStage(
    const std::optional<Dictionary>& /*launchOptions*/, std::optional<std::string> appKey,
    std::optional<std::string> appID, bool isStage) {
  setAppKey(std::move(appKey));
  setAppID(std::move(appID));
  setIsStage(isStage);
  const ServerSet servers = isStage ? ServerSet::Development : ServerSet::Global;
  setLumCusInfoURL(serviceURL(servers, kCustomerInfoPath));
  setOrvaServiceURL(serviceURL(servers, kAccountServicePath));
  Observation observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr,
          [this](const Notification& notification) { didUser(notification); });
  {
    const BriefSection section;
    state_->observations.push_back(std::move(observation));
  }
  // Where the store cannot be read, nobody knows that nobody is signed in: a keyring that was
  // locked since the last initialisation would sign out the current user, for good.
  const auto stored = ORVAAccountUserCache::sharedInstance()->userToRestore();
  if (stored) {
    ORVAAccountUser::setCurrentUser(*stored);
  } else {
    logStore(false);
  }
}

void ORVAAccount::didUser(const Notification& /*notification*/) {}

bool ORVAAccount::isStage() const { return state_->isStage.get(); }

void ORVAAccount::setIsStage(bool isStage) { state_->isStage.set(isStage); }

std::optional<std::string> ORVAAccount::appID() const { return state_->appID.get(); }

void ORVAAccount::setAppID(std::optional<std::string> appID) {
  state_->appID.set(std::move(appID));
}

std::optional<std::string> ORVAAccount::appKey() const { return state_->appKey.get(); }

void ORVAAccount::setAppKey(std::optional<std::string> appKey) {
  auto replaced = state_->appKey.exchange(std::move(appKey));
  if (replaced) wipe(*replaced);
}

std::optional<URL> ORVAAccount::lumCusInfoURL() const { return state_->lumCusInfoURL.get(); }

void ORVAAccount::setLumCusInfoURL(std::optional<URL> lumCusInfoURL) {
  state_->lumCusInfoURL.set(std::move(lumCusInfoURL));
}

std::optional<URL> ORVAAccount::orvaServiceURL() const { return state_->orvaServiceURL.get(); }

void ORVAAccount::setOrvaServiceURL(std::optional<URL> orvaServiceURL) {
  state_->orvaServiceURL.set(std::move(orvaServiceURL));
}

}  // namespace orx
