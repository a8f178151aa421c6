// SPDX-License-Identifier: MIT
// A program with a GLib main loop, as one with GTK's windows has it.
#include <ORXAccount/GLibCallbackExecutor.h>

#include "Greeter.h"

int main(int argc, char** argv) {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  orx::setCallbackExecutor(orx::glibCallbackExecutor(), orx::CallbackScope::Everything);
  setUp({argv, static_cast<std::size_t>(argc)});
  const auto greeter = std::make_shared<Greeter>([loop] { g_main_loop_quit(loop); });
  orx::ORVAAccountLoginManager::sharedInstance()->setDelegate(greeter);
  Greeter::signIn();
  g_main_loop_run(loop);
  orx::setCallbackExecutor({});
  g_main_loop_unref(loop);
  return greeter->status;
}
