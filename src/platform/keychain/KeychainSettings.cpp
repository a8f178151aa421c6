#include "platform/keychain/KeychainSettings.h"

#include <atomic>

namespace orx {

using namespace platform;

namespace {

using Answer = PromptRules::Answer;

std::atomic<KeychainPolicy> policyInForce{KeychainPolicy::PreferSecretService};
std::atomic<Answer> promptsInForce{Answer::Forbidden};

}  // namespace

KeychainPolicy keychainPolicy() { return policyInForce; }

void setKeychainPolicy(KeychainPolicy policy) { policyInForce = policy; }

bool keychainPromptsAllowed() { return promptsInForce != Answer::Forbidden; }

void setKeychainPromptsAllowed(bool allowed) {
  promptsInForce = allowed ? Answer::Allowed : Answer::Forbidden;
}

PromptRules platform::promptRulesOfHost() {
  return {.mayPrompt = [] { return promptsInForce.load(); },
          .noteDismissed =
              [] {
                auto allowed = Answer::Allowed;
                promptsInForce.compare_exchange_strong(allowed, Answer::DismissedBefore);
              }};
}

PromptRules platform::promptRulesOfNobody() {
  return {.mayPrompt = [] { return Answer::Forbidden; }, .noteDismissed = [] {}};
}

}  // namespace orx
