// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace orx::devserver {

// The names that the service answers for, without port, in lower case.
struct ServedHosts {
  std::string global;
  std::string china;
  // The host of links of web single sign-on, empty for the one that was asked.
  std::string link;

  bool serves(std::string_view host) const {
    return host == global || host == china || host == "localhost" || host == "127.0.0.1" ||
           (!link.empty() && host == link);
  }
};

}  // namespace orx::devserver
