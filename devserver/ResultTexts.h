// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

// The service's result descriptions. Clients compare them exactly, so a changed letter changes the
// error code that a client reports.
namespace orx::devserver::text {

inline constexpr std::string_view kSuccess = "Success";
inline constexpr std::string_view kAppIDError = "AppID Error";
inline constexpr std::string_view kAppKeyError = "AppKey Error";
inline constexpr std::string_view kApiIDError = "ApiID Error";
inline constexpr std::string_view kAlreadyRegistered = "This account already registered";
inline constexpr std::string_view kPasswordError = "password error";
inline constexpr std::string_view kPasswordLength = "passwd can not empty or be 8~25 in length";
inline constexpr std::string_view kEMailFormatError = "Email Format Error";
inline constexpr std::string_view kParametersError = "Parameter Error";
inline constexpr std::string_view kOpenIDError = "OpenID Error";
inline constexpr std::string_view kNotRegistered = "This account is not registered";
inline constexpr std::string_view kTicketError = "Ticket Error";
inline constexpr std::string_view kListError = "Para Error";

}  // namespace orx::devserver::text
