// SPDX-License-Identifier: MIT
#include <ORXAccount/GLibCallbackExecutor.h>

#include "adaptors/Loops.h"

namespace orx::testing {
namespace {

class GLibLoop final : public Loop {
 public:
  CallbackExecutor executor() override { return glibCallbackExecutor(context_.get()); }
  void run() override { g_main_loop_run(loop_.get()); }
  void quit() override { g_main_loop_quit(loop_.get()); }

 private:
  const std::shared_ptr<GMainContext> context_{g_main_context_new(), g_main_context_unref};
  const std::shared_ptr<GMainLoop> loop_{g_main_loop_new(context_.get(), FALSE), g_main_loop_unref};
};

}  // namespace

LoopKind glibLoop() {
  return {"GLib", [] { return std::make_unique<GLibLoop>(); }};
}

}  // namespace orx::testing
