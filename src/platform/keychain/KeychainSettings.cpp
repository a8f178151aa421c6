#include <ORXAccount/platform/Keychain.h>

#include <atomic>

#include "platform/keychain/PromptRules.h"

namespace orx {

using namespace platform;

namespace {

using Answer = PromptRules::Answer;

// Atomic, since stores read them on threads of their own while the host changes them.
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
                // Only in place of Allowed: the host may have forbidden prompts since.
                auto allowed = Answer::Allowed;
                promptsInForce.compare_exchange_strong(allowed, Answer::DismissedBefore);
              }};
}

}  // namespace orx
