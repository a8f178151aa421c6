// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/orxaccount.h>

#include <ostream>
#include <string>
#include <vector>

// Everything that starts a call over the network, to run a test over each.
namespace orx::testing {

struct Start {
  std::string name;
  orx_error* (*start)(const char* text, orx_callback callback, void* context);
  // Else one text, without which there is no call.
  bool takesParameters = true;
};

inline void PrintTo(const Start& start, std::ostream* stream) { *stream << start.name; }

inline orx_error* callAnything(const char* parameters, orx_callback callback, void* context) {
  return orx_call("w1", parameters, callback, context);
}
inline orx_error* callByIdentifier(const char* apiID, orx_callback callback, void* context) {
  return orx_call(apiID, nullptr, callback, context);
}

inline const std::vector<Start> kSignIns{{"SignIn", orx_sign_in},
                                         {"SignInOpenID", orx_sign_in_openid},
                                         {"SignInOpenIDV2", orx_sign_in_openid_v2},
                                         {"SignInTicket", orx_sign_in_ticket, false}};
inline const std::vector<Start> kCalls{{"Register", orx_register},
                                       {"RegisterV2", orx_register_v2},
                                       {"CallWithParameters", callAnything},
                                       {"CallByIdentifier", callByIdentifier, false},
                                       {"List", orx_fetch_list, false},
                                       {"UserData", orx_fetch_user_data, false},
                                       {"WebSSO", orx_web_sso}};

}  // namespace orx::testing
