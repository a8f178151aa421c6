// SPDX-License-Identifier: MIT
#include "devserver/Parameters.h"

#include <nlohmann/json.hpp>

#include "devserver/Names.h"

namespace orx::devserver {
std::optional<Parameters> Parameters::parse(std::string_view json) {
  using Event = nlohmann::json::parse_event_t;
  Parameters parameters;
  std::string name;
  // Taken while they are read: a finished object no longer knows in which order its names came, or
  // takes quadratic time to find it out.
  const auto take = [&](int depth, Event event, const nlohmann::json& parsed) {
    if (depth != 1) return true;
    if (event == Event::key) {
      name = lowerCased(parsed.get_ref<const std::string&>());
    } else if (event == Event::value && !parsed.is_null()) {
      parameters.values_[name] = parsed.is_string() ? parsed.get<std::string>() : parsed.dump();
    }
    return true;
  };
  if (!nlohmann::json::parse(json, take, false).is_object()) return std::nullopt;
  return parameters;
}

bool Parameters::has(std::string_view name) const { return values_.contains(lowerCased(name)); }

std::string Parameters::get(std::string_view name) const {
  const auto found = values_.find(lowerCased(name));
  return found == values_.end() ? std::string() : found->second;
}

}  // namespace orx::devserver
