// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orx::platform {

inline constexpr std::string_view utf8ByteOrderMark = "\xEF\xBB\xBF";

// The bytes of a text as UTF-8; absent when the system knows no encoding of this name. Bytes that
// are no text in the encoding end it: in their place stands the byte 0xFF, which no reader of UTF-8
// accepts, so that it says where they are. Memory that runs out throws std::bad_alloc.
std::optional<std::string> textInUTF8(std::string_view bytes, const std::string& encoding);

// A text in UTF-16 or UTF-32 that begins with a byte order mark, as UTF-8; likewise. Absent for any
// other text.
std::optional<std::string> textWithWideMarkInUTF8(std::string_view bytes);

}  // namespace orx::platform
