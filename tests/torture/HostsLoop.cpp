// SPDX-License-Identifier: MIT
#include "torture/HostsLoop.h"

#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <chrono>
#include <thread>
#include <utility>

#include "torture/Allocations.h"

namespace orx::torture {

namespace {

// What observers have not been told of by then, they are never told of.
constexpr std::chrono::seconds patience{10};

std::string loginOf(const std::shared_ptr<ORVAAccountUser>& user) {
  return user ? user->login().value_or("(none)") : "";
}

}  // namespace

HostsLoop& hostsLoop() {
  static auto* const loop = new HostsLoop;
  return *loop;
}

void HostsLoop::begin() {
  told_ = "";
  observation_ = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
      ORVAAccountUserDidChangeNotification, nullptr,
      [this](const Notification& notification) { noteChange(notification); });
  std::thread([this] { run(); }).detach();
  setCallbackExecutor([this](std::function<void()> block) { push(std::move(block)); },
                      CallbackScope::Everything);
}

std::optional<std::string> HostsLoop::toldUser() {
  const std::lock_guard guard(mutex_);
  return told_;
}

std::string HostsLoop::userWhenSettled() {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (true) {
    auto user = loginOf(ORVAAccountUser::currentUser());
    if (toldUser().value_or(user) == user || std::chrono::steady_clock::now() > end) return user;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void HostsLoop::push(std::function<void()> block) {
  const Spared here;
  const std::lock_guard guard(mutex_);
  blocks_.push_back(std::move(block));
  filled_.notify_one();
}

void HostsLoop::run() {
  while (true) {
    std::function<void()> block;
    {
      std::unique_lock lock(mutex_);
      filled_.wait(lock, [this] { return !blocks_.empty(); });
      block = std::move(blocks_.front());
      blocks_.pop_front();
    }
    block();
  }
}

void HostsLoop::noteChange(const Notification& notification) {
  const Spared here;
  auto login =
      loginOf(notification.userInfo()[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>());
  const std::lock_guard guard(mutex_);
  told_ = std::move(login);
}

}  // namespace orx::torture
