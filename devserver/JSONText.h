// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orx::devserver {

// JSON text for the inside of an XML element. Clients do not unescape XML there and read line by
// line, so "&", "<", ">" and every kind of line terminator are written as \u escapes.
std::string jsonString(std::string_view utf8);
std::string jsonObject(const std::vector<std::pair<std::string, std::string>>& fields);

}  // namespace orx::devserver
