#pragma once

#include <ORXAccount/platform/Keychain.h>

#include "platform/SecretServiceItems.h"

namespace orx {

// What the host has allowed, as the store of the Secret Service asks for it.
PromptRules promptRulesOfHost();
// For what happens beside the host's calls: nobody is asked.
PromptRules promptRulesOfNobody();

}  // namespace orx
