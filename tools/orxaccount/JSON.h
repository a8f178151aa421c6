#pragma once

#include <ORXAccount/platform/Value.h>

#include <optional>
#include <string>

namespace tool {

// Indented JSON. Bytes that are not UTF-8 come as U+FFFD, data as the number of its bytes, objects
// as null, so that the output is always valid JSON.
std::string jsonFromValue(const orx::Value& value);

// Absent when the text is not JSON.
std::optional<orx::Value> valueFromJSON(const std::string& text);

}  // namespace tool
