// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace tool {

// A password may hold any letter; so whatever stands before an "@" is looked at.
bool holdsPassword(std::string_view proxy);

// Whether the text has a scheme of proxies, or none, and names a host and a port that can be. What
// is wrong with the rest, a call finds.
bool isProxy(std::string_view text);

}  // namespace tool
