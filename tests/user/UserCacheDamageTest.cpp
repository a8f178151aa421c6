// SPDX-License-Identifier: MIT
#include <sys/resource.h>

#include "platform/keychain/StoreStatus.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::snapshotOf;
using testing::UserCacheTest;
using testing::writeContent;

// Defaults that cannot be read.

class UserCacheWithoutDefaults : public UserCacheTest {
 protected:
  UserCacheWithoutDefaults() {
    signIn("someone");
    installation = uuid();
    fs::rename(home.defaultsFile(), home.path() / "kept");
    fs::create_directory(home.defaultsFile());
  }
  void makeReadable() {
    fs::remove(home.defaultsFile());
    fs::rename(home.path() / "kept", home.defaultsFile());
  }

  std::string installation;
};

TEST_F(UserCacheWithoutDefaults, RestoresNobodyDeletesNothingAndSaysWhy) {
  const auto before = snapshotOf(home.path());
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_EQ(snapshotOf(home.path()), before);
  const auto status = keychainStatus();
  EXPECT_EQ(status.lastError(), errSecIO);
  EXPECT_EQ(status.path(), home.defaultsFile().string());
  EXPECT_FALSE(status.description().empty());
  EXPECT_FALSE(status.remedy().empty());

  makeReadable();
  EXPECT_EQ(restored(), "someone");
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
}

TEST_F(UserCacheWithoutDefaults, SaysWhyASignInIsNotStoredWhateverTheKeychainSaidBefore) {
  noteKeychainError(keychainFailure(errSecNotAvailable, "There is no session bus.").value());
  signIn("another");
  const auto status = keychainStatus();
  EXPECT_EQ(status.lastError(), errSecIO);
  EXPECT_EQ(status.path(), home.defaultsFile().string());
}

TEST_F(UserCacheWithoutDefaults, StoresNoSignInAndMakesNoNewUUID) {
  const auto before = snapshotOf(home.path());
  signIn("another");
  EXPECT_EQ(snapshotOf(home.path()), before);
  EXPECT_NE(keychainStatus().lastError(), errSecSuccess);
  makeReadable();
  EXPECT_EQ(restored(), "someone");
  EXPECT_EQ(uuid(), installation);
}

TEST_F(UserCacheWithoutDefaults, StillSignsOut) {
  signOut();
  EXPECT_FALSE(blob());
  makeReadable();
  EXPECT_EQ(restored(), "(nobody)");
}

// Damage.

TEST_F(UserCacheTest, DeletesNothingForDefaultsDamagedAtAnyLength) {
  signIn("someone");
  const auto whole = contentOf(home.defaultsFile());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeContent(home.defaultsFile(), whole.substr(0, length));
    const auto before = snapshotOf(home.path());
    EXPECT_EQ(restored(), "(nobody)") << length;
    EXPECT_EQ(snapshotOf(home.path()), before) << length;
    EXPECT_EQ(keychainStatus().lastError(), errSecDecode) << length;
    EXPECT_NE(keychainStatus().description().find("damaged"), std::string::npos);
  }
  writeContent(home.defaultsFile(), whole);
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheTest, SetsDamagedDefaultsAsideAtTheNextSignInAndStoresNormally) {
  signIn("someone");
  const auto first = uuid();
  writeContent(home.defaultsFile(), "bplist00 cut");
  signIn("another");
  EXPECT_EQ(restored(), "another");
  EXPECT_NE(uuid(), first);
  EXPECT_EQ(contentOf(home.defaultsFile().string() + ".damaged"), "bplist00 cut");
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
}

TEST_F(UserCacheTest, DeletesNothingForAnItemDamagedAtAnyLengthAndReplacesItAtTheNextSignIn) {
  signIn("someone");
  const auto file = home.onlyItemFile();
  const auto whole = contentOf(file);
  for (std::size_t length = 0; length < whole.size(); length += 7) {
    writeContent(file, whole.substr(0, length));
    const auto before = snapshotOf(home.path());
    EXPECT_EQ(restored(), "(nobody)") << length;
    EXPECT_EQ(snapshotOf(home.path()), before) << length;
    EXPECT_EQ(keychainStatus().path(), file.string());
  }
  signIn("another");
  EXPECT_EQ(restored(), "another");
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
}

// The status says which item is damaged, where it is, and what to do.
void expectTheItemIsNamed(const testing::StorageHome& home) {
  const auto status = keychainStatus();
  EXPECT_EQ(status.lastError(), errSecDecode);
  EXPECT_NE(status.description().find("damaged"), std::string::npos) << status.description();
  EXPECT_NE(status.description().find(std::string(ORVAAccountUserKeychainKey)), std::string::npos);
  EXPECT_NE(status.description().find(testing::StorageHome::bundleIdentifier), std::string::npos);
  EXPECT_EQ(status.path(), home.onlyItemFile().string());
  EXPECT_NE(status.remedy().find("sign-in"), std::string::npos);
}

TEST_F(UserCacheTest, KeepsABlobThatCannotBeUnarchivedUntilTheNextSignIn) {
  signIn("someone");
  const auto archive = blob().value();
  for (const auto& bytes :
       {Data("no archive"), Data(), Data(archive.text().substr(0, archive.size() / 2)),
        archivedDataWithRootObject("text in place of a dictionary")}) {
    ASSERT_TRUE(keychain->setData_forKey(bytes, ORVAAccountUserKeychainKey));
    EXPECT_EQ(restored(), "(nobody)");
    expectTheItemIsNamed(home);
    EXPECT_EQ(blob(), bytes);
    EXPECT_NE(uuid(), "(absent)");
  }
  signIn("another");
  EXPECT_EQ(restored(), "another");
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
}

TEST_F(UserCacheTest, KeepsABlobWhoseRecordCannotBeUnarchived) {
  putUUID("U");
  for (const Value& data : {Value(Data("no archive")), Value("text"), Value(),
                            Value(archivedDataWithRootObject("text in place of a record"))}) {
    putBlob(Dictionary{{"uuid", "U"}, {"data", data}});
    EXPECT_EQ(restored(), "(nobody)");
    expectTheItemIsNamed(home);
    EXPECT_TRUE(blob());
    EXPECT_EQ(uuid(), "U");
  }
}

TEST_F(UserCacheTest, DeletesEvenADamagedBlobWhenTheDefaultsTrulyHoldNoUUID) {
  ASSERT_TRUE(keychain->setData_forKey(Data("no archive"), ORVAAccountUserKeychainKey));
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
}

// Who cannot take the lock knows nothing of a sign-in that another process is in the middle of.
TEST_F(UserCacheTest, ChangesNothingWhereTheLockOfATransactionCannotBeTaken) {
  signIn("someone");
  putUUID("of another installation");
  const auto lock = home.defaultsFile().parent_path() / ".transaction.lock";
  std::filesystem::remove(lock);
  std::filesystem::create_directory(lock);
  const auto before = blob();
  EXPECT_EQ(restored(), "(nobody)");
  signIn("another");
  EXPECT_EQ(keychainStatus().path(), lock.string());
  EXPECT_EQ(blob(), before);
  EXPECT_EQ(uuid(), "of another installation");
  std::filesystem::remove(lock);
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
}

TEST_F(UserCacheTest, RemovesABlobThatNamesNoInstallation) {
  putUUID("U");
  putBlob(Dictionary{{"data", Data("x")}});
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
  EXPECT_EQ(uuid(), "(absent)");
}

// Writes that fail.

TEST_F(UserCacheTest, KeepsThePreviousUserWhenTheItemCannotBeWritten) {
  signIn("someone");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 100, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  signIn("another");
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(keychainStatus().lastError(), errSecIO);
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheTest, WritesNoItemWhoseUUIDCouldNotBeStored) {
  writeContent(home.path() / "config", "no directory");
  signIn("someone");
  EXPECT_FALSE(blob());
  EXPECT_NE(keychainStatus().lastError(), errSecSuccess);
}

TEST_F(UserCacheTest, RestoresWhereNothingCanBeWrittenNotEvenALock) {
  signIn("someone");
  fs::remove(home.defaultsFile().parent_path() / ".transaction.lock");
  fs::create_directory(home.defaultsFile().parent_path() / ".transaction.lock");
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheTest, RemovesNothingWhileAnotherProcessIsInTheMiddleOfASignIn) {
  signIn("someone");
  ASSERT_TRUE(defaults.removeObjectForKey(ORVAAccountUserUserDefaultKey));
  const auto transaction = defaults.lockTransaction(std::chrono::steady_clock::now());
  ASSERT_TRUE(transaction && *transaction);
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_TRUE(blob());
  EXPECT_NE(keychainStatus().description().find("locked by another process"), std::string::npos);
}

}  // namespace
}  // namespace orx
