#include "service/ServiceError.h"

#include <ORXAccount/ORVAAccountConstants.h>

#include <algorithm>
#include <array>
#include <utility>

namespace orx {

std::shared_ptr<Error> serviceError(std::int64_t code,
                                    const std::optional<std::string>& description) {
  Dictionary userInfo;
  if (description) userInfo.set(std::string(NSLocalizedDescriptionKey), *description);
  return Error::errorWithDomain_code_userInfo(kORVAAccountErrorDomain, code, userInfo);
}

std::int64_t codeOfDescription(std::string_view description) {
  // The service's own words, to be matched whole and with case.
  static constexpr std::array<std::pair<std::string_view, std::int64_t>, 7> kCodes{{
      {"AppID Error", 0},
      {"AppKey Error", 1},
      {"ApiID Error", 2},
      {"This account already registered", 3},
      {"password error", 4},
      {"passwd can not empty or be 8~25 in length", 5},
      {"Email Format Error", 6},
  }};
  constexpr std::int64_t kOther = 7;
  const auto* found =
      std::ranges::find(kCodes, description, [](const auto& row) { return row.first; });
  return found == kCodes.end() ? kOther : found->second;
}

std::shared_ptr<Error> statusError(long statusCode) {
  return Error::errorWithDomain_code_userInfo(kORVAAccountAPIErrorDomain, statusCode, {});
}

std::shared_ptr<Error> unexpectedJSONError(std::string_view description) {
  return Error::errorWithDomain_code_userInfo(
      NSCocoaErrorDomain, NSPropertyListReadCorruptError,
      {{std::string(NSLocalizedDescriptionKey), description}});
}

}  // namespace orx
