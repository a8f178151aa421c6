// SPDX-License-Identifier: MIT
#include "platform/formats/Canonical.h"

#include <array>
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <stdexcept>

namespace orx::testing {

namespace {

std::string hexOf(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(byte));
    text += digits.data();
  }
  return text;
}

std::string bitsOf(double number) {
  std::array<char, 17> digits{};
  std::snprintf(digits.data(), digits.size(), "%016" PRIx64, std::bit_cast<std::uint64_t>(number));
  return digits.data();
}

std::string listOf(const Array& array) {
  std::string text;
  for (const Value& value : array) {
    if (!text.empty()) text += ',';
    text += canonical(value);
  }
  return "[" + text + "]";
}

std::string entriesOf(const Dictionary& dictionary) {
  std::string text;
  for (const auto& [key, value] : dictionary) {
    if (!text.empty()) text += ',';
    text += "s" + hexOf(key) + "=" + canonical(value);
  }
  return "{" + text + "}";
}

}  // namespace

std::string canonical(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Null:
      return "null";
    case Value::Kind::Boolean:
      return *value.boolean() ? "true" : "false";
    case Value::Kind::Integer:
      return "i" + (value.integer() ? std::to_string(*value.integer())
                                    : std::to_string(*value.unsignedInteger()));
    case Value::Kind::Double:
      return "d" + bitsOf(*value.number());
    case Value::Kind::String:
      return "s" + hexOf(*value.string());
    case Value::Kind::Data:
      return "x" + hexOf(value.data()->text());
    case Value::Kind::Array:
      return listOf(*value.array());
    case Value::Kind::Dictionary:
      return entriesOf(*value.dictionary());
    case Value::Kind::Object:
      break;
  }
  throw std::invalid_argument("an object has no canonical text");
}

}  // namespace orx::testing
