// SPDX-License-Identifier: MIT
// What an earlier version of the library left: a record beside the item's file.

#include "platform/keychain/secretservice/PolicyFixture.h"

namespace orx {

using namespace platform;
namespace {

using testing::Policy;

class PolicyOverARecord : public Policy {
 protected:
  void record(std::string_view text) {
    std::filesystem::create_directories(home.keychainDirectory());
    std::filesystem::permissions(home.keychainDirectory(), std::filesystem::perms(0700));
    testing::writeContent(recordFile, text);
    std::filesystem::permissions(recordFile, std::filesystem::perms(0600));
  }
  void putInFile(std::string_view user) {
    policy = KeychainPolicy::FileOnly;
    ASSERT_EQ(signIn(user), errSecSuccess);
    policy = KeychainPolicy::PreferSecretService;
  }

  const std::filesystem::path recordFile =
      std::filesystem::path(itemFile).replace_extension(".state");
};

TEST_F(PolicyOverARecord, ReadsTheKeyringThatItNamesAndNotTheStaleFile) {
  startWithItem("");
  putInFile("stale");
  record("newest: secret-service\nstale: file\n");
  EXPECT_EQ(user(), "old");
  headless();
  EXPECT_EQ(user(), unavailable);
  desktop();
  EXPECT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(inKeyring() + inFile(), "A-");
  EXPECT_FALSE(std::filesystem::exists(recordFile));
}

TEST_F(PolicyOverARecord, ReadsTheFileThatItNamesAndRemovesTheStaleCopyInTheKeyring) {
  startWithItem("");
  putInFile("A");
  record("newest: file\nstale: secret-service\n");
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(inKeyring() + inFile(), "-A");
  EXPECT_FALSE(std::filesystem::exists(recordFile));
}

TEST_F(PolicyOverARecord, RestoresNobodyWhoHadSignedOut) {
  startWithItem("");
  putInFile("stale");
  record("newest: nowhere\nstale: secret-service file\n");
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_EQ(signOut(), errSecItemNotFound);
  EXPECT_FALSE(hasNote() || std::filesystem::exists(recordFile));
}

// As when that version died while somebody signed out.
TEST_F(PolicyOverARecord, RestoresNobodyWhereTheFileThatItNamesIsGone) {
  startWithItem("");
  record("newest: file\nstale: secret-service\n");
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_FALSE(std::filesystem::exists(recordFile));
}

TEST_F(PolicyOverARecord, SaysSoWhenItIsDamagedAndBringsNobodyBack) {
  startWithItem("");
  putInFile("stale");
  record("newest: secret-serv");
  EXPECT_EQ(user(), std::to_string(errSecDecode));
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring() + inFile(), "--");
  EXPECT_FALSE(hasNote() || std::filesystem::exists(recordFile));
}

}  // namespace
}  // namespace orx
