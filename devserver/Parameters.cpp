#include "devserver/Parameters.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace orx::devserver {
namespace {

std::string lowerCased(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

}  // namespace

std::optional<Parameters> Parameters::parse(std::string_view json) {
  // Not ordered_json: it looks through all earlier members for each one, in quadratic time.
  const auto object = nlohmann::json::parse(json, nullptr, false);
  if (!object.is_object()) return std::nullopt;
  Parameters parameters;
  for (const auto& [name, value] : object.items()) {
    if (value.is_null() || value.is_structured()) continue;
    parameters.values_[lowerCased(name)] =
        value.is_string() ? value.get<std::string>() : value.dump();
  }
  return parameters;
}

bool Parameters::has(std::string_view name) const { return values_.contains(lowerCased(name)); }

std::string Parameters::get(std::string_view name) const {
  const auto found = values_.find(lowerCased(name));
  return found == values_.end() ? std::string() : found->second;
}

}  // namespace orx::devserver
