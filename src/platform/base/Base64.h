// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>

#include <optional>
#include <string>
#include <string_view>

namespace orx::platform {

// With padding, in one line.
std::string base64Of(const Data& bytes);
// Absent for anything that base64Of cannot have made.
std::optional<Data> dataFromBase64(std::string_view text);

}  // namespace orx::platform
