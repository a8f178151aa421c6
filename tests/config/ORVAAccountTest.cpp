// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUserCache.h>

#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

class Account : public SignInFixture {
 protected:
  Account() {
    observation_ = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
        ORVAAccountUserDidChangeNotification, nullptr,
        [this](const Notification& notification) { changes.put(notification); });
  }
  static void initialise(bool isStage, const std::optional<Dictionary>& launchOptions = {}) {
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        launchOptions, "k", "i", isStage);
  }

  Mailbox<Notification> changes;

 private:
  Observation observation_;
};

TEST(AccountBeforeInitialisation, HoldsNothing) {
  const auto& account = ORVAAccount::sharedInstance();
  EXPECT_FALSE(account->isStage());
  EXPECT_EQ(account->appID(), std::nullopt);
  EXPECT_EQ(account->appKey(), std::nullopt);
  EXPECT_EQ(account->lumCusInfoURL(), std::nullopt);
  EXPECT_EQ(account->orvaServiceURL(), std::nullopt);
  EXPECT_EQ(ORVAAccount::sharedInstance(), account);
}

TEST_F(Account, StageModeChangesTheReportedAddressesAlone) {
  initialise(true);
  const auto& account = ORVAAccount::sharedInstance();
  EXPECT_TRUE(account->isStage());
  EXPECT_EQ(account->appID(), "i");
  EXPECT_EQ(account->appKey(), "k");
  EXPECT_EQ(account->lumCusInfoURL()->host(), kDevelopmentHost);
  EXPECT_EQ(account->lumCusInfoURL()->path(), "/ws/lumcusinfo.asmx");
  EXPECT_EQ(account->orvaServiceURL()->host(), kDevelopmentHost);
  EXPECT_EQ(account->orvaServiceURL()->path(), "/ws/OrvaService.asmx");
  signIn("a");
  EXPECT_EQ(onlyRequest().serverName, kGlobalHost);
}

TEST_F(Account, OtherwiseTheAddressesAreTheGlobalServersWhateverTheFlag) {
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  initialise(false);
  const auto& account = ORVAAccount::sharedInstance();
  EXPECT_EQ(account->lumCusInfoURL()->absoluteString(),
            std::string("https://") + kGlobalHost + "/ws/lumcusinfo.asmx");
  EXPECT_EQ(account->orvaServiceURL()->absoluteString(),
            std::string("https://") + kGlobalHost + "/ws/OrvaService.asmx");
  signIn("a");
  EXPECT_EQ(onlyRequest().serverName, kChinaHost);
}

TEST_F(Account, StageModeWithTheFlagStillSendsToTheChinaServer) {
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  initialise(true);
  signIn("a");
  EXPECT_EQ(onlyRequest().serverName, kChinaHost);
}

TEST_F(Account, InitialisingWithAnEmptyStorePostsNothing) {
  initialise(false);
  EXPECT_EQ(changes.count(), 0U);
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
}

TEST_F(Account, InitialisingWithAStoredUserPostsTheNewUserAlone) {
  const auto stored = ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "kept"}});
  ORVAAccountUserCache::sharedInstance()->setCachedUser(stored);
  initialise(false);
  const Notification change = changes.take();
  EXPECT_EQ(changes.count(), 0U);
  EXPECT_EQ(change.object(), ORVAAccountUser::classObject());
  EXPECT_EQ(change.userInfo().size(), 1U);
  const auto user = change.userInfo()[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>();
  ASSERT_NE(user, nullptr);
  EXPECT_TRUE(user->isEqual(stored.get()));
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
}

TEST_F(Account, LaunchOptionsAreIgnored) {
  initialise(false, Dictionary{{"appID", "other"}, {"isStage", true}});
  EXPECT_EQ(ORVAAccount::sharedInstance()->appID(), "i");
  EXPECT_FALSE(ORVAAccount::sharedInstance()->isStage());
}

TEST_F(Account, StoresEmptyAndAbsentCredentialsAsTheyAre) {
  const auto& account = ORVAAccount::sharedInstance();
  account->initializeWithLaunchOptions_appKey_appID_isStage(std::nullopt, "", std::nullopt, false);
  EXPECT_EQ(account->appKey(), "");
  EXPECT_EQ(account->appID(), std::nullopt);
}

TEST_F(Account, InitialisingAgainOverwritesAndReloads) {
  initialise(true);
  ORVAAccountUserCache::sharedInstance()->setCachedUser(
      ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "kept"}}));
  const auto& account = ORVAAccount::sharedInstance();
  account->initializeWithLaunchOptions_appKey_appID_isStage(std::nullopt, "k2", "i2", false);
  EXPECT_EQ(account->appID(), "i2");
  EXPECT_EQ(account->lumCusInfoURL()->host(), kGlobalHost);
  EXPECT_EQ(ORVAAccountUser::currentUser()->login(), "kept");
  EXPECT_EQ(changes.count(), 1U);
}

TEST_F(Account, DidUserChangesNothing) {
  initialise(true);
  const auto user = signIn("a");
  changes.take();
  const auto& account = ORVAAccount::sharedInstance();
  // As it is posted when somebody signs out.
  account->didUser({std::string(ORVAAccountUserDidChangeNotification),
                    ORVAAccountUser::classObject(),
                    Dictionary{{std::string(ORVAAccountUserChangeOldKey), user}}});
  EXPECT_EQ(changes.count(), 0U);
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
  EXPECT_TRUE(ORVAAccountUserCache::sharedInstance()->cachedUser()->isEqual(user.get()));
  EXPECT_EQ(account->appID(), "i");
  EXPECT_EQ(account->appKey(), "k");
  EXPECT_TRUE(account->isStage());
  ASSERT_TRUE(account->orvaServiceURL());
  EXPECT_EQ(account->orvaServiceURL()->host(), kDevelopmentHost);
  ASSERT_TRUE(account->lumCusInfoURL());
  EXPECT_EQ(account->lumCusInfoURL()->host(), kDevelopmentHost);
}

TEST_F(Account, PropertiesReadBackWhatWasSet) {
  const auto& account = ORVAAccount::sharedInstance();
  account->setIsStage(true);
  account->setAppID("x");
  account->setAppKey("y");
  account->setLumCusInfoURL(URL::URLWithString("https://a.example/1"));
  account->setOrvaServiceURL(std::nullopt);
  EXPECT_TRUE(account->isStage());
  EXPECT_EQ(account->appID(), "x");
  EXPECT_EQ(account->appKey(), "y");
  EXPECT_EQ(account->lumCusInfoURL()->absoluteString(), "https://a.example/1");
  EXPECT_EQ(account->orvaServiceURL(), std::nullopt);
}

}  // namespace
}  // namespace orx
