// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/CallbackExecutor.h>

#include <functional>
#include <memory>
#include <string>

namespace orx::testing {

// A loop of some other library. It is made, run and destroyed on one thread.
class Loop {
 public:
  virtual ~Loop() = default;

  virtual CallbackExecutor executor() = 0;
  // Runs what comes until quit() is called by a block of it.
  virtual void run() = 0;
  virtual void quit() = 0;
};

struct LoopKind {
  std::string name;
  std::function<std::unique_ptr<Loop>()> make;
};

LoopKind glibLoop();
LoopKind qtLoop();
LoopKind asioLoop();
LoopKind boostAsioLoop();

}  // namespace orx::testing
