// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <string>

#include "support/AccountServiceFixture.h"

namespace orx::testing {

// What the delegate was told.
struct LoginReport {
  const ORVAAccountLoginManager* manager;
  std::shared_ptr<ORVAAccountUser> user;
  std::shared_ptr<Error> error;
};

class RecordingDelegate : public ORVAAccountLoginManagerDelegate {
 public:
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                           const std::shared_ptr<ORVAAccountUser>& user,
                                           const std::shared_ptr<Error>& error) override {
    reports.put({&manager, user, error});
  }

  Mailbox<LoginReport> reports;
};

// An initialised host application with storage of its own, whose calls reach the test's server.
class SignInFixture : public AccountServiceFixture {
 protected:
  SignInFixture();
  ~SignInFixture() override;

  static const std::shared_ptr<ORVAAccountLoginManager>& manager() {
    return ORVAAccountLoginManager::sharedInstance();
  }
  RecordingDelegate& delegate() { return *delegate_; }
  LoginReport report() { return delegate_->reports.take(); }
  void dropDelegate() { delegate_.reset(); }

  // Lets the next sign-ins succeed with this record as JSON, or fail with this description.
  void answerWithRecord(const std::string& json);
  void answerWithRefusal(std::string_view description);
  // Signs a user of this name in and waits for the delegate's report.
  std::shared_ptr<ORVAAccountUser> signIn(const std::string& name);

 private:
  TemporaryDirectory storage_;
  std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
};

}  // namespace orx::testing
