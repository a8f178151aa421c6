// SPDX-License-Identifier: MIT
// A program that lives in asio's io_context; with Boost.Asio it is the same.
#include <ORXAccount/AsioCallbackExecutor.h>

#include <asio.hpp>

#include "Greeter.h"

int main(int argc, char** argv) {
  const auto context = std::make_shared<asio::io_context>();
  const auto untilItStops = asio::make_work_guard(*context);
  orx::setCallbackExecutor(orx::asioCallbackExecutor(context), orx::CallbackScope::Everything);
  setUp({argv, static_cast<std::size_t>(argc)});
  const auto greeter = std::make_shared<Greeter>([context] { context->stop(); });
  orx::ORVAAccountLoginManager::sharedInstance()->setDelegate(greeter);
  Greeter::signIn();
  context->run();
  orx::setCallbackExecutor({});
  return greeter->status;
}
