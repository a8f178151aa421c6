// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>

#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/keychain/StoreStatus.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::snapshotOf;
using testing::writeContent;

// A store whose every call fails, as that of a locked keyring does.
class LockedStore final : public KeychainStore {
 public:
  std::string_view name() const noexcept override { return "locked"; }
  Result<void> add(const KeychainItem&, const Data&, Deadline) override { return failure(); }
  Result<void> update(const KeychainItem&, const Data&, Deadline) override { return failure(); }
  Result<void> remove(const KeychainItem&, Deadline) override { return failure(); }
  Result<Data> copy(const KeychainItem&, Deadline) override { return failure(); }

 private:
  static Failure failure() {
    return keychainFailure(errSecInteractionNotAllowed, "The keyring is locked.");
  }
};

class SecondInitialisation : public testing::UserCacheTest {
 protected:
  SecondInitialisation() {
    signIn("someone");
    initialise();
    EXPECT_NE(user, nullptr);
  }
  void initialise() {
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "key", "id", false);
    if (!user) user = ORVAAccountUser::currentUser();
  }
  void expectNothingChanges() {
    const auto before = snapshotOf(home.path());
    initialise();
    EXPECT_EQ(ORVAAccountUser::currentUser(), user);
    EXPECT_EQ(snapshotOf(home.path()), before);
    EXPECT_NE(keychainStatus().lastError(), errSecSuccess);
    EXPECT_FALSE(keychainStatus().description().empty());
  }

  std::shared_ptr<ORVAAccountUser> user;
};

TEST_F(SecondInitialisation, ChangesNothingWhereTheItemIsDamaged) {
  writeContent(home.onlyItemFile(), "damaged");
  expectNothingChanges();
}

TEST_F(SecondInitialisation, ChangesNothingWhereTheItemCannotBeUnarchived) {
  ASSERT_TRUE(keychain->setData_forKey(Data("no archive"), ORVAAccountUserKeychainKey));
  expectNothingChanges();
}

TEST_F(SecondInitialisation, ChangesNothingWhereTheRecordCannotBeUnarchived) {
  putBlob(Dictionary{{"uuid", uuid()}, {"data", Data("no archive")}});
  expectNothingChanges();
}

TEST_F(SecondInitialisation, ChangesNothingWhereTheItemIsRefused) {
  const auto file = home.onlyItemFile();
  fs::rename(file, home.path() / "kept");
  fs::create_symlink(home.path() / "kept", file);
  expectNothingChanges();
}

TEST_F(SecondInitialisation, ChangesNothingWhereTheDefaultsAreDamaged) {
  writeContent(home.defaultsFile(), "damaged");
  expectNothingChanges();
}

TEST_F(SecondInitialisation, ChangesNothingWhereTheKeyringWasLockedSince) {
  setKeychainStoreInForce(std::make_shared<LockedStore>());
  expectNothingChanges();
  EXPECT_TRUE(keychainStatus().locked());
  setKeychainStoreInForce(keychainStoreOfHost());
  initialise();
  EXPECT_EQ(ORVAAccountUser::currentUser()->login(), "someone");
}

TEST_F(SecondInitialisation, ChangesNothingWhileAnotherProcessChangesTheUser) {
  ASSERT_TRUE(defaults.removeObjectForKey(ORVAAccountUserUserDefaultKey));
  const auto transaction = defaults.lockTransaction(std::chrono::steady_clock::now());
  ASSERT_TRUE(transaction && *transaction);
  expectNothingChanges();
}

TEST_F(SecondInitialisation, SignsOutWhereTheStoresSayThatNobodyIsStored) {
  ASSERT_TRUE(keychain->setData_forKey(std::nullopt, ORVAAccountUserKeychainKey));
  initialise();
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  EXPECT_EQ(uuid(), "(absent)");
}

}  // namespace
}  // namespace orx
