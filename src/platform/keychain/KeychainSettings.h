#pragma once

#include <ORXAccount/platform/Keychain.h>

#include "platform/keychain/secretservice/SecretServiceItems.h"

namespace orx::platform {

// What the host has allowed, as the store of the Secret Service asks for it.
PromptRules promptRulesOfHost();
// For what happens beside the host's calls: nobody is asked.
PromptRules promptRulesOfNobody();

}  // namespace orx::platform
