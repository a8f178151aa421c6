// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/Calls.h>
#include <ORXAccount/ORXAccount.h>

#include <functional>
#include <memory>
#include <optional>

#include "Options.h"

namespace tool {

// Starts the library for one command and waits for its callbacks, which come on other threads.
class Session {
 public:
  // Configures the library and restores the stored user. Throws a Failure for malformed options,
  // std::invalid_argument for servers that cannot be.
  explicit Session(const GlobalOptions& options);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Starts a sign-in on the shared manager and waits for the delegate's report. Gives the new user;
  // throws a Failure when the sign-in failed, and when the user could not be stored.
  std::shared_ptr<orx::ORVAAccountUser> signIn(
      const std::function<void(orx::ORVAAccountLoginManager&)>& start);

  // What calls of the service are made with: it has the application's credentials.
  std::shared_ptr<orx::ORVAAccountAPI> client() const;
  // Makes a call and waits for its result; throws a Failure for its error.
  std::shared_ptr<orx::ORVAAccountAPIResult> call(orx::calls::ResultCall call) const;

  // Loads the picture of a user; throws a Failure for its error.
  orx::Data loadPicture(std::shared_ptr<orx::ORVAAccountUser> user) const;

  // Throws a Failure when nobody is signed in.
  static std::shared_ptr<orx::ORVAAccountUser> signedInUser();

 private:
  class Delegate;

  std::shared_ptr<Delegate> delegate_;
  orx::Observation observation_;
};

}  // namespace tool
