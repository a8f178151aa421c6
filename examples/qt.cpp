// SPDX-License-Identifier: MIT
// A program with Qt's event loop.
#include <ORXAccount/QtCallbackExecutor.h>

#include "Greeter.h"

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  orx::setCallbackExecutor(orx::qtCallbackExecutor(), orx::CallbackScope::Everything);
  setUp({argv, static_cast<std::size_t>(argc)});
  const auto greeter = std::make_shared<Greeter>([] { QCoreApplication::quit(); });
  orx::ORVAAccountLoginManager::sharedInstance()->setDelegate(greeter);
  Greeter::signIn();
  QCoreApplication::exec();
  orx::setCallbackExecutor({});
  return greeter->status;
}
