// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORXAccount.h>

#include <functional>
#include <iostream>
#include <thread>
#include <utility>

#include "Setup.h"

// The part of these programs that does not depend on the loop: signs a user in, greets the user on
// the thread that made it, and then calls `done`.
class Greeter : public orx::ORVAAccountLoginManagerDelegate {
 public:
  explicit Greeter(std::function<void()> done) : done_(std::move(done)) {}

  static void signIn() {
    orx::ORVAAccountLoginManager::sharedInstance()->loginOpenIDWithParameters(
        {{orx::kORVAAccountOpenIDType, "example"}, {orx::kORVAAccountOpenIDUID, "1234567"}});
  }

  void loginManager_didLoginWithUser_error(orx::ORVAAccountLoginManager&,
                                           const std::shared_ptr<orx::ORVAAccountUser>& user,
                                           const std::shared_ptr<orx::Error>& error) override {
    const bool isHere = std::this_thread::get_id() == thread_;
    std::cout << (error ? error->localizedDescription() : "Hello " + user->cusID().value_or("you"))
              << (isHere ? " from the main thread" : " from another thread") << std::endl;
    status = error ? 1 : 0;
    done_();
  }

  int status = 1;

 private:
  const std::thread::id thread_ = std::this_thread::get_id();
  std::function<void()> done_;
};
