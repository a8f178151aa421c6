// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// Text between C and C++.
namespace orx::c {

// What the caller gave; absent for a null pointer. Throws std::system_error (EILSEQ), naming
// `what`, when it is not UTF-8.
std::optional<std::string_view> optionalText(const char* text, std::string_view what);

// The same, and std::invalid_argument for a null pointer.
std::string_view requiredText(const char* text, std::string_view what);

// The dictionary that is given as JSON text; an empty one for a null pointer. Throws
// std::invalid_argument for text that is no JSON object.
Dictionary parametersIn(const char* json);

// The text with U+FFFD for each byte that is not UTF-8.
std::string validUTF8(std::string_view text);

// A value as a caller in C reads it. Made once, since what gives out a text must not need memory.
struct Document {
  Document() : Document(Value()) {}
  explicit Document(const Value& value);

  // The text of a field, or of the value itself for a null `key`; null when there is none.
  const char* find(const char* key) const noexcept;

  // What JSON cannot hold is null.
  std::string json;
  std::optional<std::string> text;
  std::map<std::string, std::string, std::less<>> fields;
};

// Null when there is no text.
const char* pointerTo(const std::optional<std::string>& text) noexcept;

}  // namespace orx::c
