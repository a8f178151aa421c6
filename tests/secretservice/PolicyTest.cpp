// The keyring and the file store as one store, while services come and go.

#include <cstdlib>

#include "platform/FileKeychainStore.h"
#include "platform/PolicyKeychainStore.h"
#include "secretservice/ServiceFixture.h"

namespace orx {
namespace {

constexpr auto missing = errSecItemNotFound;

class Policy : public testing::ServiceFixture {
 protected:
  Policy() : address(getenv("DBUS_SESSION_BUS_ADDRESS")) {
    const PromptRules rules{.mayPrompt = [] { return PromptRules::Answer::Forbidden; },
                            .noteDismissed = [] {}};
    const auto keyring = std::make_shared<SecretServiceStore>(rules);
    store = std::make_shared<PolicyKeychainStore>(
        PolicyKeychainStore::Stores{.secretService = keyring,
                                    .quietSecretService = keyring,
                                    .file = std::make_shared<FileKeychainStore>()},
        [this] { return policy; });
    startEmpty("");
  }

  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }

  void headless() { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
  void desktop() { setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1); }

  // As a sign-in writes.
  OSStatus signIn(std::string_view user) {
    const auto outcome = store->update(item, Data(user), deadline());
    if (outcome.status != missing) return outcome.status;
    return store->add(item, Data(user), deadline()).status;
  }
  OSStatus signOut() { return store->remove(item, deadline()).status; }
  // The user, or the status in its place.
  std::string user() {
    std::optional<Data> bytes;
    const auto outcome = store->copy(item, deadline(), bytes);
    lastStore = outcome.store;
    return bytes ? std::string(bytes->text()) : std::to_string(outcome.status);
  }
  std::string inFile() {
    std::optional<Data> bytes;
    FileKeychainStore().copy(item, deadline(), bytes);
    return bytes ? std::string(bytes->text()) : "-";
  }
  std::string inKeyring() {
    const auto ending = read();
    return ending.status == errSecSuccess ? ending.bytes : "-";
  }
  bool hasRecord() {
    return std::filesystem::exists(home.keychainDirectory() /
                                   PolicyKeychainStore::recordNameOf(item));
  }

  const std::string address;
  KeychainPolicy policy = KeychainPolicy::PreferSecretService;
  std::shared_ptr<PolicyKeychainStore> store;
  std::string lastStore;
  const std::string nobody = std::to_string(missing);
  const std::string unavailable = std::to_string(errSecNotAvailable);
};

TEST_F(Policy, KeepsTheNewestUserFromDesktopToServerAndBack) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(lastStore, "secret-service");

  headless();
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(lastStore, "file");

  desktop();
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(inKeyring(), "-");
  // As the start of a program writes back whom it restored.
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(inKeyring(), "B");
  EXPECT_EQ(inFile(), "-");

  headless();
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(signIn("C"), errSecSuccess);
  EXPECT_EQ(user(), "C");
  desktop();
  EXPECT_EQ(user(), "C");
  EXPECT_EQ(signIn("D"), errSecSuccess);
  EXPECT_EQ(user(), "D");
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring() + inFile(), "--");
  EXPECT_FALSE(hasRecord());
}

TEST_F(Policy, DoesNotBringBackWhoSignedOutWithoutAService) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  headless();
  ASSERT_EQ(signOut(), errSecSuccess);
  desktop();
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_FALSE(hasRecord());
}

TEST_F(Policy, NeverLetsTheFileStandInForAServiceThatExists) {
  for (const auto* script : {"locked refuse", "SearchItems die", "SearchItems malformed"}) {
    startEmpty(script);
    EXPECT_NE(signIn("A"), errSecSuccess) << script;
    EXPECT_EQ(inFile(), "-") << script;
  }
  service.stop();
}

TEST_F(Policy, KeepsTheOldUserWhenTheKeyringRefusesTheNewOne) {
  headless();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  desktop();
  service.setScript("locked refuse");
  EXPECT_EQ(signIn("B"), errSecInteractionNotAllowed);
  EXPECT_EQ(user(), "A");
  service.setScript("SetSecret ignore\nCreateItem ignore");
  EXPECT_EQ(signIn("B"), errSecIO);
  EXPECT_EQ(user(), "A");
  service.setScript("");
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(inKeyring(), "-");
}

TEST_F(Policy, ToleratesAStaleCopyThatCannotBeRemovedYet) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  headless();
  ASSERT_EQ(signIn("B"), errSecSuccess);
  desktop();
  service.setScript("locked refuse");
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(service.calls("Prompt"), 0);
  service.setScript("");
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(inKeyring(), "-");
}

TEST_F(Policy, FileOnlyNeverSpeaksToTheService) {
  policy = KeychainPolicy::FileOnly;
  service.clearLog();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(service.calls("SearchItems"), 0);
  EXPECT_EQ(inFile(), "-");
  EXPECT_FALSE(hasRecord());
}

TEST_F(Policy, SecretServiceOnlyNeverWritesAFile) {
  policy = KeychainPolicy::SecretServiceOnly;
  headless();
  EXPECT_EQ(signIn("A"), errSecNotAvailable);
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(inFile(), "-");
  desktop();
  EXPECT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(inFile(), "-");
}

TEST_F(Policy, SaysSoWhenTheUserIsInAStoreThatItExcludes) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  policy = KeychainPolicy::FileOnly;
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(user(), "B");
  policy = KeychainPolicy::SecretServiceOnly;
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(signIn("C"), errSecSuccess);
  EXPECT_EQ(user(), "C");
  EXPECT_EQ(inFile(), "-");
}

TEST_F(Policy, SaysSoWhenItsRecordIsDamagedAndRecoversAtTheNextSignIn) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  const auto record = home.keychainDirectory() / PolicyKeychainStore::recordNameOf(item);
  const auto whole = testing::contentOf(record);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    testing::writeContent(record, whole.substr(0, length));
    EXPECT_EQ(user(), std::to_string(errSecDecode)) << length;
  }
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(user(), "B");
  testing::writeContent(record, "newest");
  EXPECT_EQ(signOut(), missing);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_FALSE(hasRecord());
}

TEST_F(Policy, FindsWhatAKeyringHoldsWithoutARecord) {
  startWithItem("");
  EXPECT_EQ(user(), "old");
  EXPECT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_TRUE(hasRecord());
}

}  // namespace
}  // namespace orx
