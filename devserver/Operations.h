// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include "devserver/AccountStore.h"
#include "devserver/Envelope.h"
#include "devserver/HTTPMessages.h"
#include "devserver/Membership.h"
#include "devserver/SSOTokens.h"

namespace orx::devserver {

// The state that all operations share. One per service; any thread may use it.
struct Environment {
  Environment(const std::string& databasePath, std::map<std::string, std::string> applicationKeys)
      : accounts(databasePath), membership(accounts), applications(std::move(applicationKeys)) {}

  AccountStore accounts;
  Membership membership;
  SSOTokens tokens;
  // Application keys by application ID.
  const std::map<std::string, std::string> applications;

  // Empty when the application is known and its key is right, else the service's error text.
  std::string refusalOf(const std::string& appID, const std::string& appKey) const;
};

// The two SOAP endpoints. Every refusal is a result block with status 200. The host is the
// served name that the caller reached, with its port if it wrote one; never the header as it came.
HTTPResponse answerCustomerInfo(Environment& environment, const CallEnvelope& call);
HTTPResponse answerAccountService(Environment& environment, const CallEnvelope& call,
                                  const std::string& host);

// The two calls of the OpenID JSON interface.
enum class OpenIDCall { Register, Login };
HTTPResponse answerOpenID(Environment& environment, OpenIDCall call, const std::string& body);

// The address, below the host, that web single sign-on leads to; a token follows.
inline constexpr const char* kWebSSOPath = "/sso/";

}  // namespace orx::devserver
