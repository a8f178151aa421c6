// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <string>
#include <string_view>
#include <vector>

namespace orx::testing {

struct NamedValue {
  std::string name;
  Value value;
};

// The value that holds integers only an unsigned type can hold.
inline constexpr std::string_view kBeyondSignedIntegers = "beyond signed integers";

// Values of every kind that an archive can hold, ends and oddities included. With `NULs`, also text
// that holds a NUL character, which not every other reader takes.
std::vector<NamedValue> archiveValues(bool NULs);

// `depth` containers, each in the next; 1 is an empty one.
Value nested(std::size_t depth);

}  // namespace orx::testing
