#include "platform/base/Text.h"

#include <algorithm>

namespace orx::platform {

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  const auto lowered = [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  };
  return std::ranges::equal(left, right, {}, lowered, lowered);
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace orx::platform
