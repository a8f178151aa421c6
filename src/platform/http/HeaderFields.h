#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/Text.h"

// The fields of an HTTP head, in the order received and with their names as received.
namespace orx::platform {

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

// The same ones for any number of requests.
inline std::shared_ptr<const HeaderFields> sharedFields(HeaderFields fields) {
  return std::make_shared<const HeaderFields>(std::move(fields));
}

// The first value under a name in any letter case; null when there is none.
const std::string* fieldValue(const HeaderFields& fields, std::string_view name);

// The fields of a head's lines. A line that is neither a field nor the continuation of one is left
// out.
HeaderFields fieldsOfHead(std::string_view head);

// The first value under a name in any letter case among a head's lines, without what continues it;
// absent when there is none.
std::optional<std::string_view> fieldOfHead(std::string_view head, std::string_view name);

}  // namespace orx::platform
