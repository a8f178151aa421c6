#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orx::devserver {

// JSON texts that stand inside XML without escaping there and hold no line terminator of any
// kind: "&", "<", ">" and the separators beyond ASCII are written as \u escapes.
std::string jsonString(std::string_view utf8);
std::string jsonObject(const std::vector<std::pair<std::string, std::string>>& fields);

}  // namespace orx::devserver
