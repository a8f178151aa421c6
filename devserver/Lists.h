// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace orx::devserver {

// The named list ("country", "profession", "education") as a JSON array on one line; empty when
// there is none of that name.
std::string parameterListJSON(std::string_view name);

}  // namespace orx::devserver
