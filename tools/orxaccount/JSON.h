// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <optional>
#include <string>

namespace tool {

enum class JSONLayout { OneLine, Indented };

// JSON that may be printed. Bytes that are not UTF-8 come as U+FFFD, data as the number of its
// bytes, objects as null, so that the output is always valid JSON.
std::string jsonFromValue(const orx::Value& value, JSONLayout layout);

// Absent when the text is not JSON, or nested deeper than 512 levels, the deepest that the library
// sends.
std::optional<orx::Value> valueFromJSON(const std::string& text);

}  // namespace tool
