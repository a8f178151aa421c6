// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace orx::devserver {

// Of ASCII letters alone, whatever the locale.
inline std::string lowerCased(std::string_view name) {
  std::string lower(name);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

inline std::string withoutPort(std::string_view host) {
  return std::string(host.substr(0, host.find(':')));
}

}  // namespace orx::devserver
