// SPDX-License-Identifier: MIT
#include <ORXAccount/QtCallbackExecutor.h>

#include <QCoreApplication>

#include "adaptors/Loops.h"

namespace orx::testing {
namespace {

class QtLoop final : public Loop {
 public:
  CallbackExecutor executor() override { return qtCallbackExecutor(); }
  void run() override { QCoreApplication::exec(); }
  void quit() override { QCoreApplication::quit(); }

 private:
  int argumentCount_ = 1;
  std::string name_ = "test";
  char* arguments_[2] = {name_.data(), nullptr};
  QCoreApplication application_{argumentCount_, arguments_};
};

}  // namespace

LoopKind qtLoop() {
  return {"Qt", [] { return std::make_unique<QtLoop>(); }};
}

}  // namespace orx::testing
