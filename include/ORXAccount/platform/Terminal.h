// SPDX-License-Identifier: MIT
#pragma once

namespace orx {

// Whether a character would steer the terminal that it is printed on: controls (C0 with tab and
// line feed, DEL, C1), the separators U+2028 and U+2029, and those that turn the direction of
// writing. They move the cursor, hide text, forge a line or answer in the user's place. A program
// that prints what a service or another user sent (a name, a description of an error) shows
// something else instead. The library's own line of log does so already.
constexpr bool steersTerminal(char32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x61C ||
         character == 0x200E || character == 0x200F ||
         (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069);
}

}  // namespace orx
