// The keyring and the file store as one store, while services come and go.

#include <cstdlib>

#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/keychain/file/FileKeychainStore.h"
#include "platform/keychain/secretservice/ServiceFixture.h"

namespace orx {

using namespace platform;
namespace {

constexpr auto missing = errSecItemNotFound;

class Policy : public testing::ServiceFixture {
 protected:
  Policy() : address(getenv("DBUS_SESSION_BUS_ADDRESS")) {
    const PromptRules rules{.mayPrompt = [this] { return prompts; }, .noteDismissed = [] {}};
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

TEST_F(Policy, MovesTheUserIntoAKeyringWhosePromptOutlastsACall) {
  headless();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  desktop();
  service.setScript("locked prompt\nprompt answer\nPrompt delay 3000");
  prompts = PromptRules::Answer::Allowed;
  const auto soon = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  EXPECT_EQ(store->update(item, Data(std::string_view("B")), soon).status, errSecSuccess);
  service.setScript("");
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(inKeyring() + inFile(), "B-");
}

TEST_F(Policy, DoesNotForgetWhatAKeyringTookBeforeItLocked) {
  headless();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  desktop();
  service.setScript("GetSecret error org.freedesktop.Secret.Error.IsLocked");
  EXPECT_EQ(signIn("B"), errSecInteractionNotAllowed);
  service.setScript("");
  EXPECT_EQ(inKeyring(), "B");
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(inKeyring() + inFile(), "--");
  EXPECT_FALSE(hasRecord());
}

TEST_F(Policy, RemovesACopyThatNoRecordKnowsOf) {
  startWithItem("");
  headless();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  desktop();
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(inKeyring(), "old");
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(inKeyring() + inFile(), "--");
}

TEST_F(Policy, SweepsWhatADeadWriterLeftBesideAKeyring) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  const auto record = home.keychainDirectory() / PolicyKeychainStore::recordNameOf(item);
  for (const bool recorded : {true, false}) {
    if (!recorded) std::filesystem::remove(record);
    const auto left = home.keychainDirectory() / ".orx-tmp-1";
    testing::writeContent(left, "someone's bytes");
    EXPECT_EQ(signOut(), errSecSuccess);
    EXPECT_FALSE(std::filesystem::exists(left)) << recorded;
    ASSERT_EQ(signIn("A"), errSecSuccess);
  }
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

// Keeps nothing, and notes until when it may wait.
class NotingStore final : public KeychainStore {
 public:
  NotingStore(std::vector<Deadline>& deadlines, bool absent)
      : deadlines_(deadlines), absent_(absent) {}

  std::string_view name() const noexcept override { return "noting"; }
  KeychainOutcome probe(Deadline deadline) override { return noted(deadline, errSecSuccess); }
  KeychainOutcome add(const KeychainItem&, const Data&, Deadline deadline) override {
    return noted(deadline, errSecSuccess);
  }
  KeychainOutcome update(const KeychainItem&, const Data&, Deadline deadline) override {
    return noted(deadline, errSecItemNotFound);
  }
  KeychainOutcome remove(const KeychainItem&, Deadline deadline) override {
    return noted(deadline, errSecSuccess);
  }
  KeychainOutcome copy(const KeychainItem&, Deadline deadline, std::optional<Data>&) override {
    return noted(deadline, errSecItemNotFound);
  }

 private:
  KeychainOutcome noted(Deadline deadline, OSStatus status) {
    deadlines_.push_back(deadline);
    return {.status = absent_ ? errSecNotAvailable : status,
            .text = {},
            .path = {},
            .remedy = {},
            .storeMissing = absent_};
  }

  std::vector<Deadline>& deadlines_;
  bool absent_;
};

TEST(PolicyBound, IsOneForAllThatACallDoes) {
  const testing::StorageHome home;
  const KeychainItem item{.service = "service", .account = "account"};
  const Data bytes(std::string_view("bytes"));
  std::vector<Deadline> deadlines;
  for (const bool absent : {false, true, false}) {
    const auto service = std::make_shared<NotingStore>(deadlines, absent);
    PolicyKeychainStore store({.secretService = service,
                               .quietSecretService = service,
                               .file = std::make_shared<NotingStore>(deadlines, false)},
                              [] { return KeychainPolicy::PreferSecretService; });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::optional<Data> read;
    store.update(item, bytes, limit);
    store.add(item, bytes, limit);
    store.copy(item, limit, read);
    store.remove(item, limit);
    EXPECT_GT(deadlines.size(), 4U);
    for (const auto deadline : deadlines) EXPECT_EQ(deadline, limit);
    deadlines.clear();
  }
}

}  // namespace
}  // namespace orx
