#pragma once

#include <string>
#include <string_view>

namespace orx {

bool isValidUTF8(std::string_view text);

// The text with its first UTF-16 code unit in lower case, independent of any locale. A text that
// begins with a character of two units, the empty text and text that is not UTF-8 stay as they are.
std::string lowercasingFirstUTF16Unit(std::string_view text);

}  // namespace orx
