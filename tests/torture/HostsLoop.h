// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/NotificationCenter.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace orx::torture {

// The loop of a host that has all callbacks come there, and that knows the user as observers are
// told. Its own allocations are not counted.
class HostsLoop {
 public:
  // Until then there is no loop and no observer.
  void begin();
  // The login of the user whom observers were told of last, "" for nobody. Absent without a loop.
  std::optional<std::string> toldUser();
  // The login of the current user, once it is the one of whom observers were told, or never will.
  std::string userWhenSettled();

 private:
  void push(std::function<void()> block);
  [[noreturn]] void run();
  void noteChange(const Notification& notification);

  std::mutex mutex_;
  std::condition_variable filled_;
  std::deque<std::function<void()>> blocks_;
  std::optional<std::string> told_;
  Observation observation_;
};

// Never destroyed, since its thread runs until the process ends.
HostsLoop& hostsLoop();

}  // namespace orx::torture
