// SPDX-License-Identifier: MIT
#include <string>

#include "FuzzTarget.h"
#include "platform/base/Unicode.h"

// Lower-casing changes the first character only, changes nothing when repeated, and keeps valid
// text valid.
ORX_FUZZ_TARGET(text) {
  const std::string lower = orx::platform::lowercasingFirstUTF16Unit(text);
  if (!orx::platform::isValidUTF8(text)) {
    ORX_FUZZ_CHECK(lower == text);
    return;
  }
  ORX_FUZZ_CHECK(orx::platform::isValidUTF8(lower));
  ORX_FUZZ_CHECK(orx::platform::lowercasingFirstUTF16Unit(lower) == lower);
  std::size_t rest = std::min<std::size_t>(text.size(), 1);
  while (rest < text.size() && (static_cast<unsigned char>(text[rest]) & 0xC0U) == 0x80U) ++rest;
  ORX_FUZZ_CHECK(lower.ends_with(text.substr(rest)));
}
