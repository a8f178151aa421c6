// SPDX-License-Identifier: MIT
// The keyring and the file store as one store, while services come and go.

#include "platform/base/Limits.h"
#include "platform/keychain/StoreStatus.h"
#include "platform/keychain/secretservice/PolicyFixture.h"

namespace orx {

using namespace platform;
namespace {

using testing::Policy;

TEST_F(Policy, KeepsTheNewestUserFromDesktopToServerAndBack) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(keychainStatus().store(), "secret-service");
  EXPECT_TRUE(keychainStatus().encryptedAtRest());

  headless();
  EXPECT_EQ(user(), unavailable);
  EXPECT_EQ(signOut(), errSecSuccess);
  EXPECT_EQ(user(), nobody);
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(keychainStatus().store(), "file");
  EXPECT_FALSE(keychainStatus().encryptedAtRest());

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

// Nobody has ever been stored in a keyring here, and the note says only that one may hold a copy.
TEST_F(Policy, CallsNothingEncryptedWhereNoKeyringHasAnswered) {
  headless();
  ASSERT_EQ(signIn("A"), errSecSuccess);
  ASSERT_EQ(signOut(), errSecSuccess);
  ASSERT_TRUE(hasNote());
  EXPECT_EQ(user(), nobody);
  EXPECT_FALSE(keychainStatus().encryptedAtRest());
  EXPECT_EQ(signOut(), errSecItemNotFound);
  EXPECT_FALSE(keychainStatus().encryptedAtRest());
  desktop();
  EXPECT_EQ(user(), nobody);
  EXPECT_TRUE(keychainStatus().encryptedAtRest());
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

TEST_F(Policy, LetsTheFileStandInForAKeyringThatAsksBeforeEachChangeWhereNobodyMayBeAsked) {
  startEmpty("ask CreateItem\nask Delete\nprompt answer");
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(keychainStatus().store(), "file");
  EXPECT_EQ(inFile() + inKeyring(), "A-");
  EXPECT_EQ(user(), "A");
  ASSERT_EQ(signOut(), errSecSuccess);
  EXPECT_FALSE(hasNote());

  ASSERT_EQ(signIn("A"), errSecSuccess);
  prompts = PromptRules::Answer::Allowed;
  ASSERT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(inFile() + inKeyring(), "-B");
  // Who lies in the keyring goes from there or not at all.
  prompts = PromptRules::Answer::Forbidden;
  EXPECT_EQ(signOut(), errSecInteractionNotAllowed);
  EXPECT_EQ(inKeyring(), "B");
}

TEST_F(Policy, DoesNotStandInForAKeyringThatIsLockedOrWhosePromptWasDismissed) {
  startEmpty("locked refuse\nask CreateItem");
  EXPECT_EQ(signIn("A"), errSecInteractionNotAllowed);
  service.setScript("ask CreateItem");
  prompts = PromptRules::Answer::DismissedBefore;
  EXPECT_EQ(signIn("A"), errSecInteractionNotAllowed);
  prompts = PromptRules::Answer::Forbidden;
  policy = KeychainPolicy::SecretServiceOnly;
  EXPECT_EQ(signIn("A"), errSecInteractionNotAllowed);
  EXPECT_EQ(inFile() + inKeyring(), "--");
}

TEST_F(Policy, KeepsTheUserBehindALinkAsWell) {
  const auto data = home.keychainDirectory().parent_path();
  std::filesystem::create_directory(home.path() / "volume");
  std::filesystem::create_directory_symlink(home.path() / "volume", data);
  EXPECT_EQ(user(), nobody);
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(user(), "A");
  EXPECT_EQ(inKeyring(), "A");
}

TEST_F(Policy, RefusesAnItemThatIsTooLargeForAKeyring) {
  EXPECT_EQ(signIn(std::string(limits::keyringSecretSize / 2 + 1, 'x')), errSecParam);
  EXPECT_EQ(inKeyring(), "-");
  EXPECT_EQ(user(), nobody);
}

TEST_F(Policy, TellsItemsApartWhoseNamesTheBusCannotCarry) {
  using namespace std::string_view_literals;
  const std::vector<std::string> names{"a", std::string("a\0b"sv), "%:a%00b", "a\xFF", "%:a"};
  const auto named = [](const std::string& name) {
    return KeychainItem{.service = name, .account = "someone"};
  };
  for (const auto& name : names) {
    ASSERT_TRUE(store->add(named(name), Data(name), deadline())) << name;
  }
  for (const auto& name : names) {
    EXPECT_EQ(store->copy(named(name), deadline()).value(), Data(name)) << name;
  }
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

TEST_F(Policy, AsksNobodyToRemoveAStaleCopy) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  headless();
  ASSERT_EQ(signIn("B"), errSecSuccess);
  desktop();
  prompts = PromptRules::Answer::Allowed;
  service.setScript("locked prompt\nprompt answer");
  EXPECT_EQ(user(), "B");
  EXPECT_EQ(service.calls("Prompt"), 0);
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
