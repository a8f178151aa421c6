// SPDX-License-Identifier: MIT
#include "devserver/Lists.h"

#include <array>
#include <vector>

#include "devserver/Countries.h"
#include "devserver/JSONText.h"

namespace orx::devserver {
namespace {

constexpr std::array<std::string_view, 16> kProfessions = {
    "Administration",
    "Agriculture",
    "Arts and design",
    "Construction",
    "Education",
    "Engineering",
    "Finance",
    "Government",
    "Health care",
    "Information technology",
    "Law",
    "Manufacturing",
    "Research & development",
    "Sales and marketing",
    "Student",
    "Other",
};
constexpr std::array<std::string_view, 6> kEducation = {
    "Elementary school", "Junior high school", "Senior high school",
    "Bachelor's degree", "Master's degree",    "Doctorate",
};

using Entry = std::vector<std::pair<std::string, std::string>>;

std::string asArray(const std::vector<Entry>& entries) {
  std::string text = "[";
  for (const Entry& entry : entries) {
    if (text.size() > 1) text += ",";
    text += jsonObject(entry);
  }
  return text + "]";
}

std::string countries() {
  std::vector<Entry> entries;
  entries.reserve(std::size(kCountries));
  for (const auto& [code, name] : kCountries) {
    entries.push_back({{"abbr", std::string(code)}, {"name", std::string(name)}});
  }
  return asArray(entries);
}

// One object for each name, which is numbered from 1 under the list's own key.
template <typename Names>
std::string numbered(const char* key, const Names& names) {
  std::vector<Entry> entries;
  entries.reserve(std::size(names));
  for (const std::string_view name : names) {
    entries.push_back({{key, std::to_string(entries.size() + 1)}, {"name", std::string(name)}});
  }
  return asArray(entries);
}

}  // namespace

std::string parameterListJSON(std::string_view name) {
  if (name == "country") return countries();
  if (name == "profession") return numbered("p_id", kProfessions);
  if (name == "education") return numbered("e_id", kEducation);
  return {};
}

}  // namespace orx::devserver
