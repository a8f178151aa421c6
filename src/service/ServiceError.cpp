// SPDX-License-Identifier: MIT
#include "service/ServiceError.h"

#include <ORXAccount/ORVAAccountConstants.h>

#include <algorithm>
#include <array>
#include <utility>

namespace orx::service {

std::shared_ptr<Error> serviceError(std::int64_t code,
                                    const std::optional<std::string>& description) {
  Dictionary userInfo;
  if (description) userInfo.set(NSLocalizedDescriptionKey, *description);
  return Error::errorWithDomain_code_userInfo(kORVAAccountErrorDomain, code, userInfo);
}

std::shared_ptr<Error> refusalError(const std::optional<std::string>& description) {
  // The service's own words, to be matched whole and with case.
  static constexpr std::array<std::pair<std::string_view, std::int64_t>, 7> kCodes{{
      {"AppID Error", kORVAAccountErrorAppID},
      {"AppKey Error", kORVAAccountErrorAppKey},
      {"ApiID Error", kORVAAccountErrorAPIID},
      {"This account already registered", kORVAAccountErrorAlreadyRegistered},
      {"password error", kORVAAccountErrorPassword},
      {"passwd can not empty or be 8~25 in length", kORVAAccountErrorPasswordLength},
      {"Email Format Error", kORVAAccountErrorEmailFormat},
  }};
  const auto* found = std::ranges::find(kCodes, description.value_or(""),
                                        [](const auto& row) { return row.first; });
  return serviceError(found == kCodes.end() ? kORVAAccountErrorOther : found->second, description);
}

std::shared_ptr<Error> statusError(long statusCode) {
  return Error::errorWithDomain_code_userInfo(kORVAAccountAPIErrorDomain, statusCode, {});
}

}  // namespace orx::service
