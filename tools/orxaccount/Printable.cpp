// SPDX-License-Identifier: MIT
#include "Printable.h"

#include <ORXAccount/platform/Terminal.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdio>

namespace tool {
namespace {

constexpr char32_t kNoCharacter = 0xFFFFFFFF;

struct Character {
  char32_t code;  // kNoCharacter for a byte that is not UTF-8
  std::string_view bytes;
};

Character firstOf(std::string_view text) {
  utf8proc_int32_t code = 0;
  const auto size = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                     static_cast<utf8proc_ssize_t>(text.size()), &code);
  if (size <= 0) return {kNoCharacter, text.substr(0, 1)};
  return {static_cast<char32_t>(code), text.substr(0, static_cast<std::size_t>(size))};
}

// A byte that is not UTF-8 may be a control of another encoding.
bool steersATerminal(char32_t code) { return code == kNoCharacter || orx::steersTerminal(code); }

}  // namespace

std::string printable(std::string_view text, std::size_t longest) {
  std::string shown;
  for (std::string_view rest = text; !rest.empty();) {
    const auto [code, bytes] = firstOf(rest);
    if (shown.size() + bytes.size() > longest) {
      return shown + "... (cut, " + std::to_string(text.size()) + " bytes)";
    }
    if (code == '\n' || code == '\t') {
      shown += ' ';
    } else {
      shown += steersATerminal(code) ? "?" : bytes;
    }
    rest.remove_prefix(bytes.size());
  }
  return shown;
}

std::string printableJSON(std::string_view json) {
  std::string shown;
  while (!json.empty()) {
    const auto [code, bytes] = firstOf(json);
    if (steersATerminal(code) && code != '\n') {
      char escape[sizeof "\\uffff"];
      std::snprintf(escape, sizeof escape, "\\u%04x",
                    static_cast<unsigned>(std::min<char32_t>(code, 0xFFFD)));
      shown += escape;
    } else {
      shown += bytes;
    }
    json.remove_prefix(bytes.size());
  }
  return shown;
}

std::size_t widthOf(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const auto [code, bytes] = firstOf(text);
    width += static_cast<std::size_t>(utf8proc_charwidth(static_cast<utf8proc_int32_t>(code)));
    text.remove_prefix(bytes.size());
  }
  return width;
}

}  // namespace tool
