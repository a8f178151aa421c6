// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace tool {

// A password may hold any letter; so whatever stands before an "@" is looked at.
bool holdsPassword(std::string_view proxy);

// Whether the library takes the text for a proxy's, as far as can be told before a call is made.
bool isProxy(std::string_view text);

}  // namespace tool
