// SPDX-License-Identifier: MIT
#include "devserver/JSONText.h"

#include <array>
#include <nlohmann/json.hpp>

namespace orx::devserver {
namespace {

// Characters that JSON allows unescaped but that are markup in XML or end a line.
constexpr std::array<std::pair<std::string_view, std::string_view>, 9> kEscapes = {{
    {"&", "\\u0026"},
    {"<", "\\u003c"},
    {">", "\\u003e"},
    {"\x7F", "\\u007f"},
    {"\xC2\x85", "\\u0085"},
    {"\xE2\x80\xA8", "\\u2028"},
    {"\xE2\x80\xA9", "\\u2029"},
    {"\xEF\xBF\xBE", "\\ufffe"},
    {"\xEF\xBF\xBF", "\\uffff"},
}};

}  // namespace

std::string jsonString(std::string_view utf8) {
  const std::string plain =
      nlohmann::json(utf8).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  std::string text;
  for (std::size_t at = 0; at < plain.size();) {
    std::size_t length = 1;
    std::string_view replacement = std::string_view(plain).substr(at, 1);
    for (const auto& [from, to] : kEscapes) {
      if (plain.compare(at, from.size(), from) == 0) {
        length = from.size();
        replacement = to;
      }
    }
    text += replacement;
    at += length;
  }
  return text;
}

std::string jsonObject(const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string text = "{";
  for (const auto& [name, value] : fields) {
    if (text.size() > 1) text += ",";
    text += jsonString(name);
    text += ":";
    text += jsonString(value);
  }
  return text + "}";
}

}  // namespace orx::devserver
