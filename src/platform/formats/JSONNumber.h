#pragma once

#include <ORXAccount/platform/Value.h>

#include <string_view>

namespace orx::platform::JSONSerialization {

// The number that a token of JSON's grammar stands for, whatever the process's locale: an integer
// where 64 bits hold it, else the nearest double. False for one beyond every double.
bool valueOfNumber(std::string_view token, bool isInteger, Value& value);

}  // namespace orx::platform::JSONSerialization
