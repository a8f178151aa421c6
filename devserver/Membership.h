// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "devserver/AccountStore.h"
#include "devserver/Parameters.h"

namespace orx::devserver {

// An account, or the service's text that says why there is none.
struct MembershipOutcome {
  std::optional<Account> account;
  std::string refusal;
};

// The rules of registering and signing in, whichever interface the caller came through. Throws
// std::runtime_error when the accounts cannot be read or written.
class Membership {
 public:
  explicit Membership(AccountStore& accounts) : accounts_(accounts) {}

  // Needs "passwd", and "login" or "email": a missing one takes the other's value. A login without
  // "@" is accepted together with a valid e-mail address.
  MembershipOutcome registerAccount(const Parameters& parameters);
  MembershipOutcome signIn(const Parameters& parameters);

  enum class Unknown { Create, Refuse };
  // By "openid_type" and "openid_uid"; an identity that is new is linked to a new account or
  // refused.
  MembershipOutcome signInWithOpenID(const Parameters& parameters, Unknown unknown);
  MembershipOutcome registerOpenID(const Parameters& parameters);

  // A new ticket of the account.
  std::string issueTicket(const Account& account);

 private:
  AccountStore& accounts_;
};

}  // namespace orx::devserver
