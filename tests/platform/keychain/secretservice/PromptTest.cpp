// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Keychain.h>

#include "platform/keychain/PromptRules.h"
#include "platform/keychain/secretservice/ServiceFixture.h"

namespace orx {

using namespace platform;
namespace {

using testing::KeychainOperation;
using Answer = PromptRules::Answer;

class Prompts : public testing::ServiceFixture {
 protected:
  Prompts() { prompts = Answer::Allowed; }
};

constexpr auto operationsOnAnItem = {KeychainOperation::Read, KeychainOperation::Update,
                                     KeychainOperation::Delete};

TEST_F(Prompts, OpenALockedKeyring) {
  for (const auto operation : operationsOnAnItem) {
    startWithItem("locked prompt\nprompt answer");
    EXPECT_EQ(run(operation).status, errSecSuccess);
    EXPECT_EQ(service.calls("Prompt"), 1);
  }
  startEmpty("locked prompt\nprompt answer");
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecSuccess);
  EXPECT_EQ(read().bytes, "new");
  EXPECT_EQ(dismissals, 0);
}

TEST_F(Prompts, ThatAreDismissedAreErrorsAndAreNoted) {
  for (const auto operation : operationsOnAnItem) {
    startWithItem("locked prompt\nprompt dismiss");
    EXPECT_EQ(run(operation).status, errSecAuthFailed);
    service.setScript("");
    EXPECT_EQ(read().bytes, "old");
  }
  EXPECT_EQ(dismissals, 3);
}

TEST_F(Prompts, ThatNobodyAnswersAreTakenBackAndNoted) {
  promptPatience = std::chrono::milliseconds(200);
  for (const auto operation : operationsOnAnItem) {
    startWithItem("locked prompt\nprompt silent");
    EXPECT_EQ(run(operation).status, errSecAuthFailed);
    EXPECT_EQ(service.calls("Dismiss"), 1);
  }
  EXPECT_EQ(dismissals, 3);
}

// The operation has a thread of its own, on which nobody would hear it.
TEST_F(Prompts, TellTheCallerThatTheirThreadHadNoMemory) {
  startWithItem("locked prompt\nprompt answer");
  SecretServiceStore store({.mayPrompt = []() -> Answer { throw std::bad_alloc(); },
                            .noteDismissed = [] {},
                            .patience = promptPatience,
                            .patienceAfterwards = promptPatience});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  EXPECT_THROW(static_cast<void>(store.copy(item, deadline)), std::bad_alloc);
}

TEST_F(Prompts, MayTakeLongerThanACall) {
  startWithItem("locked prompt\nprompt answer\nPrompt delay 5000");
  EXPECT_EQ(run(KeychainOperation::Read, std::chrono::seconds(3)).bytes, "old");
}

TEST_F(Prompts, OfOneOperationShareOneTime) {
  promptPatience = std::chrono::milliseconds(3500);
  startEmpty("locked prompt\nprompt answer\nPrompt delay 2000\nask CreateItem");
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecAuthFailed);
  EXPECT_EQ(service.calls("Prompt"), 2);
  EXPECT_EQ(service.calls("Dismiss"), 1);
}

TEST_F(Prompts, OfAServiceThatDiesOrMakesNoSenseAreErrors) {
  for (const auto operation : operationsOnAnItem) {
    startWithItem("locked prompt\nprompt die");
    EXPECT_EQ(run(operation).status, errSecIO);
    startWithItem("locked prompt\nprompt silent\nPrompt leave");
    EXPECT_EQ(run(operation).status, errSecIO);
    startWithItem("locked prompt\nprompt malformed");
    EXPECT_EQ(run(operation).status, errSecIO);
  }
  EXPECT_EQ(dismissals, 0);
}

TEST_F(Prompts, AreNotShownAgainAfterADismissal) {
  prompts = Answer::DismissedBefore;
  for (const auto operation : operationsOnAnItem) {
    startWithItem("locked prompt\nprompt answer");
    EXPECT_EQ(run(operation).status, errSecInteractionNotAllowed);
    EXPECT_EQ(service.calls("Prompt"), 0);
  }
}

TEST_F(Prompts, OfWritingAndDeletingAreAnswered) {
  startEmpty("ask CreateItem\nask Delete");
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecSuccess);
  EXPECT_EQ(read().bytes, "new");
  EXPECT_EQ(run(KeychainOperation::Delete).status, errSecSuccess);
  EXPECT_EQ(read().status, errSecItemNotFound);
  EXPECT_EQ(service.calls("Prompt"), 2);
}

TEST_F(Prompts, MakeADefaultKeyringWhereThereIsNone) {
  startEmpty("no-default");
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecSuccess);
  EXPECT_EQ(service.calls("CreateCollection"), 1);
  EXPECT_EQ(read().bytes, "new");
  startEmpty("no-default\nprompt dismiss");
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecAuthFailed);
}

TEST(PromptSettings, ForgetADismissalOnlyWhenTheHostAllowsPromptsAnew) {
  const auto rules = promptRulesOfHost();
  EXPECT_FALSE(keychainPromptsAllowed());
  EXPECT_EQ(rules.mayPrompt(), Answer::Forbidden);
  setKeychainPromptsAllowed(true);
  EXPECT_EQ(rules.mayPrompt(), Answer::Allowed);
  rules.noteDismissed();
  EXPECT_EQ(rules.mayPrompt(), Answer::DismissedBefore);
  EXPECT_TRUE(keychainPromptsAllowed());
  setKeychainPromptsAllowed(true);
  EXPECT_EQ(rules.mayPrompt(), Answer::Allowed);
  setKeychainPromptsAllowed(false);
  rules.noteDismissed();
  EXPECT_EQ(rules.mayPrompt(), Answer::Forbidden);
  EXPECT_EQ(rules.patience + rules.patienceAfterwards, std::chrono::seconds(120));
}

// Several items in the keyring have the attributes of ours.
class Matches : public testing::ServiceFixture {
 protected:
  void startWith(std::string_view items) {
    service.setItems(items);
    service.setScript("");
    service.start();
  }
};

TEST_F(Matches, GiveTheNewestAndAreReplacedByOne) {
  const auto items = itemLine("-", 5, secretOf("older")) + itemLine("-", 9, secretOf("newer")) +
                     itemLine("-", 7, secretOf("middle"));
  startWith(items);
  EXPECT_EQ(read().bytes, "newer");
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecDuplicateItem);
  EXPECT_EQ(run(KeychainOperation::Update).status, errSecSuccess);
  EXPECT_EQ(read().bytes, "new");
  EXPECT_EQ(service.calls("Delete"), 2);
  startWith(items);
  EXPECT_EQ(run(KeychainOperation::Delete).status, errSecSuccess);
  EXPECT_EQ(read().status, errSecItemNotFound);
}

TEST_F(Matches, GoTheOldestFirstSoThatNoneCountsAgain) {
  startWith(itemLine("-", 5, secretOf("older")) + itemLine("-", 9, secretOf("newer")));
  // Call 7 is the second deletion: before it come the search, two properties of each item, and the
  // first deletion.
  service.setScript("call 7 error org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(run(KeychainOperation::Delete).status, errSecIO);
  EXPECT_EQ(service.calls("Delete"), 2);
  service.setScript("");
  service.clearLog();
  EXPECT_EQ(read().bytes, "newer");
  EXPECT_EQ(service.calls("GetSecret"), 1);
}

TEST_F(Matches, ThatAreDamagedGiveWayToOneThatIsNot) {
  startWith(itemLine("-", 9, "junk") + itemLine("-", 5, secretOf("whole")));
  EXPECT_EQ(read().bytes, "whole");
}

TEST_F(Matches, OfAnotherProgramsTypeAreLeftAlone) {
  startWith(itemLine("com.example.other", 9, "foreign"));
  EXPECT_EQ(read().status, errSecItemNotFound);
  EXPECT_EQ(run(KeychainOperation::Update).status, errSecItemNotFound);
  EXPECT_EQ(run(KeychainOperation::Delete).status, errSecItemNotFound);
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecSuccess);
  EXPECT_EQ(read().bytes, "new");
  EXPECT_EQ(run(KeychainOperation::Delete).status, errSecSuccess);
  EXPECT_EQ(service.calls("Delete"), 1);
  EXPECT_EQ(service.calls("SetSecret"), 0);
}

TEST_F(Matches, OfTheServicesOwnPlainTypeAreOurs) {
  startWith(itemLine("org.freedesktop.Secret.Generic", 1, secretOf("old")));
  EXPECT_EQ(read().bytes, "old");
}

TEST_F(Matches, WithAForeignSecretAreKeptUntilTheyAreReplaced) {
  startWith(itemLine("-", 1, ""));
  EXPECT_EQ(read().status, errSecDecode);
  startWith(itemLine("-", 1, "password"));
  EXPECT_EQ(read().status, errSecDecode);
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecDuplicateItem);
  EXPECT_EQ(service.calls("Delete") + service.calls("SetSecret"), 0);
  EXPECT_EQ(run(KeychainOperation::Update).status, errSecSuccess);
  EXPECT_EQ(read().bytes, "new");
}

}  // namespace
}  // namespace orx
