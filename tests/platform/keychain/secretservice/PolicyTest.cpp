// The keyring and the file store as one store, while services come and go.

#include <cstdlib>

#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/keychain/StoreStatus.h"
#include "platform/keychain/secretservice/ServiceFixture.h"

namespace orx {

using namespace platform;
namespace {

constexpr auto missing = errSecItemNotFound;

class Policy : public testing::ServiceFixture {
 protected:
  Policy() : address(getenv("DBUS_SESSION_BUS_ADDRESS")) {
    const PromptRules rules{.mayPrompt = [this] { return prompts; }, .noteDismissed = [] {}};
    store = std::make_shared<PolicyKeychainStore>(
        PolicyKeychainStore::Stores{std::make_shared<SecretServiceStore>(rules)},
        [this] { return policy; });
    startEmpty("");
  }

  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }

  void headless() { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
  void desktop() { setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1); }

  // As a sign-in writes.
  OSStatus signIn(std::string_view user) {
    const auto updated = statusOf(store->update(item, Data(user), deadline()));
    if (updated != missing) return updated;
    return statusOf(store->add(item, Data(user), deadline()));
  }
  OSStatus signOut() { return statusOf(store->remove(item, deadline())); }
  // The user, or the status in its place.
  std::string user() {
    const auto bytes = store->copy(item, deadline());
    return bytes ? std::string(bytes->text()) : std::to_string(statusOf(bytes));
  }
  std::string inFile() {
    ItemFile file(item);
    EXPECT_TRUE(file.look());
    const auto& bytes = file.state().bytes;
    return bytes ? std::string(bytes->text()) : "-";
  }
  std::string inKeyring() {
    const auto ending = read();
    return ending.status == errSecSuccess ? ending.bytes : "-";
  }
  // Whether anything is left that says where the item is.
  bool hasNote() { return std::filesystem::exists(itemFile); }

  const std::string address;
  KeychainPolicy policy = KeychainPolicy::PreferSecretService;
  std::shared_ptr<PolicyKeychainStore> store;
  const std::filesystem::path itemFile = home.keychainDirectory() / ItemFile::nameOf(item);
  const std::string nobody = std::to_string(missing);
  const std::string unavailable = std::to_string(errSecNotAvailable);
};

TEST_F(Policy, KeepsTheNewestUserFromDesktopToServerAndBack) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(keychainStatus().store, "secret-service");

  headless();
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(keychainStatus().store, "file");

  desktop();
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(inKeyring(), "-");
  // A program's start writes the user whom it restored back to the store.
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
  EXPECT_FALSE(hasNote());
}

TEST_F(Policy, DoesNotBringBackWhoSignedOutWithoutAService) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  headless();
  ASSERT_EQ(signOut(), errSecSuccess);
  desktop();
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_FALSE(hasNote());
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
  EXPECT_TRUE(store->update(item, Data(std::string_view("B")), soon));
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
  EXPECT_FALSE(hasNote());
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

TEST_F(Policy, DoesNotBringBackAnOlderUserThatNoFileTellsOfAfterASignOutWithoutAService) {
  startWithItem("");
  headless();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  ASSERT_EQ(signOut(), errSecSuccess);
  desktop();
  EXPECT_EQ(inKeyring(), "old");
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_FALSE(hasNote());
}

// What an earlier version stored: a record beside the item's file.

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
  EXPECT_EQ(signOut(), missing);
  EXPECT_FALSE(hasNote() || std::filesystem::exists(recordFile));
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

TEST_F(Policy, SweepsWhatADeadWriterLeftBesideAKeyring) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  for (const bool recorded : {true, false}) {
    if (!recorded) std::filesystem::remove(itemFile);
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
  EXPECT_FALSE(hasNote());
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

TEST_F(Policy, SaysSoWhenTheNoteIsDamagedAndRecoversAtTheNextSignIn) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  const auto whole = testing::contentOf(itemFile);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    testing::writeContent(itemFile, whole.substr(0, length));
    EXPECT_EQ(user(), std::to_string(errSecDecode)) << length;
  }
  EXPECT_EQ(inKeyring(), "A");
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(user(), "B");
  testing::writeContent(itemFile, "newest");
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_FALSE(hasNote());
}

TEST_F(Policy, FindsWhatAKeyringHoldsWithoutARecord) {
  startWithItem("");
  EXPECT_EQ(user(), "old");
  EXPECT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_TRUE(hasNote());
}

// Stores nothing, and collects the deadlines that it is given.
class NotingStore final : public KeychainStore {
 public:
  NotingStore(std::string_view name, std::vector<Deadline>& deadlines, bool absent)
      : name_(name), deadlines_(deadlines), absent_(absent) {}

  std::string_view name() const noexcept override { return name_; }
  Result<void> probe(Deadline deadline) override { return noted(deadline, errSecSuccess); }
  Result<void> add(const KeychainItem&, const Data&, Deadline deadline) override {
    return noted(deadline, errSecSuccess);
  }
  Result<void> update(const KeychainItem&, const Data&, Deadline deadline) override {
    return noted(deadline, errSecItemNotFound);
  }
  Result<void> remove(const KeychainItem&, Deadline deadline) override {
    return noted(deadline, errSecSuccess);
  }
  Result<Data> copy(const KeychainItem&, Deadline deadline) override {
    return Failure(noted(deadline, errSecItemNotFound).error());
  }

 private:
  Result<void> noted(Deadline deadline, OSStatus status) {
    deadlines_.push_back(deadline);
    if (absent_) return keychainFailure(errSecNoSuchKeychain);
    if (status != errSecSuccess) return keychainFailure(status);
    return {};
  }

  std::string_view name_;
  std::vector<Deadline>& deadlines_;
  bool absent_;
};

TEST(PolicyBound, IsOneForAllThatACallDoes) {
  const testing::StorageHome home;
  const KeychainItem item{.service = "service", .account = "account"};
  const Data bytes(std::string_view("bytes"));
  std::vector<Deadline> deadlines;
  for (const bool absent : {false, true, false}) {
    PolicyKeychainStore store({std::make_shared<NotingStore>("first", deadlines, absent),
                               std::make_shared<NotingStore>("second", deadlines, false)},
                              [] { return KeychainPolicy::PreferSecretService; });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    store.update(item, bytes, limit);
    store.add(item, bytes, limit);
    store.copy(item, limit);
    store.remove(item, limit);
    EXPECT_GT(deadlines.size(), 4U);
    for (const auto deadline : deadlines) EXPECT_EQ(deadline, limit);
    deadlines.clear();
  }
}

}  // namespace
}  // namespace orx
