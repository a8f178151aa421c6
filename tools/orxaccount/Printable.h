// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The service, the network and other programs write texts that are shown on a terminal. Controls
// (C0, DEL, C1), the separators U+2028 and U+2029 and the characters that turn the direction of
// writing would move the cursor, hide text or answer in the user's place. Everything that is
// printed goes through one of these functions.
namespace tool {

// A line for people has at most this many bytes, or one answer of many megabytes would scroll
// everything else away. JSON is for programs and always whole.
inline constexpr std::size_t kLongestLine = 16384;

// One line for people. Line feeds and tabs come as a blank, other such characters and bytes that
// are not UTF-8 as "?". What is longer than `longest` bytes is cut, and says how long it was.
std::string printable(std::string_view text, std::size_t longest = kLongestLine);

// JSON text with such characters as \u escapes, which programs read as the characters themselves.
// The line feeds between the parts of the JSON stay.
std::string printableJSON(std::string_view json);

// The columns that printable text takes on a terminal: wide characters take two, combining ones
// none.
std::size_t widthOf(std::string_view text);

}  // namespace tool
