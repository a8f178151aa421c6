// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Keychain.h>

#include <atomic>

#include "platform/keychain/PromptRules.h"

namespace orx {

using namespace platform;

namespace {

using PromptAnswer = PromptRules::Answer;

// Atomic, since stores read them on threads of their own while the host changes them.
std::atomic<KeychainPolicy> policyInForce{KeychainPolicy::PreferSecretService};
std::atomic<PromptAnswer> promptsInForce{PromptAnswer::Forbidden};

}  // namespace

KeychainPolicy keychainPolicy() { return policyInForce; }

void setKeychainPolicy(KeychainPolicy policy) { policyInForce = policy; }

bool keychainPromptsAllowed() { return promptsInForce != PromptAnswer::Forbidden; }

void setKeychainPromptsAllowed(bool allowed) {
  promptsInForce = allowed ? PromptAnswer::Allowed : PromptAnswer::Forbidden;
}

PromptRules platform::promptRulesOfHost() {
  return {.mayPrompt = [] { return promptsInForce.load(); },
          .noteDismissed =
              [] {
                // Only in place of Allowed: the host may have forbidden prompts since.
                auto allowed = PromptAnswer::Allowed;
                promptsInForce.compare_exchange_strong(allowed, PromptAnswer::DismissedBefore);
              }};
}

}  // namespace orx
