#pragma once

#include <ORXAccount/platform/Keychain.h>

#include "platform/keychain/PromptRules.h"

namespace orx::platform {

// What the host has allowed, read at each question.
PromptRules promptRulesOfHost();

}  // namespace orx::platform
