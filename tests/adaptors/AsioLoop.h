// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/AsioCallbackExecutor.h>

#include <memory>

#include "adaptors/Loops.h"

namespace orx::testing {

// asio and Boost.Asio name their types alike.
template <typename Context, typename WorkGuard>
class AsioLoop final : public Loop {
 public:
  CallbackExecutor executor() override { return asioCallbackExecutor(context_); }
  void run() override { context_->run(); }
  void quit() override { context_->stop(); }

 private:
  const std::shared_ptr<Context> context_ = std::make_shared<Context>();
  const WorkGuard untilItQuits_{context_->get_executor()};
};

}  // namespace orx::testing
