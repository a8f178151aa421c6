#include "platform/KeychainSettings.h"

#include <atomic>

namespace orx {

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

PromptRules promptRulesOfHost() {
  return {.mayPrompt = [] { return promptsInForce.load(); },
          .noteDismissed =
              [] {
                auto allowed = Answer::Allowed;
                promptsInForce.compare_exchange_strong(allowed, Answer::DismissedBefore);
              }};
}

PromptRules promptRulesOfNobody() {
  return {.mayPrompt = [] { return Answer::Forbidden; }, .noteDismissed = [] {}};
}

}  // namespace orx
