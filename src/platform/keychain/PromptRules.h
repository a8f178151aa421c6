// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

#include "platform/base/Limits.h"

namespace orx::platform {

// Whether a store may ask somebody, and how long that may take. The functions are called on the
// store's own thread, at any time while the store lives.
struct PromptRules {
  enum class Answer { Allowed, Forbidden, DismissedBefore };
  std::function<Answer()> mayPrompt;
  // Called when a prompt was dismissed or nobody answered it.
  std::function<void()> noteDismissed;
  // How long the prompts of an operation may stay open, all in all, and what the rest of it may
  // take once they were answered.
  std::chrono::milliseconds patience = limits::storeWaitWithPrompt - limits::storeWait;
  std::chrono::milliseconds patienceAfterwards = limits::storeWait;
};

// What the host has allowed, read at each question.
PromptRules promptRulesOfHost();

}  // namespace orx::platform
