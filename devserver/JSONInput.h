// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orx::devserver {

// An array that people have written. Throws std::invalid_argument with line and column of what is
// no JSON, without the text there, which may be a password; `what` names what the array holds.
inline nlohmann::json parseArray(std::string_view text, const std::string& what) {
  try {
    auto array = nlohmann::json::parse(text);
    if (array.is_array()) return array;
  } catch (const nlohmann::json::parse_error& problem) {
    const std::string_view before = text.substr(0, problem.byte > 0 ? problem.byte - 1 : 0);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    throw std::invalid_argument("line " + std::to_string(line) + ", column " +
                                std::to_string(column) + ": this is no JSON");
  } catch (const nlohmann::json::out_of_range&) {
    throw std::invalid_argument("a number is too large");
  }
  throw std::invalid_argument("this is no JSON array of " + what);
}

}  // namespace orx::devserver
