// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <variant>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/base/Text.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONScanner.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform {

namespace {

bool needsEscape(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\' ||
         character == '/';
}

void appendEscape(std::string& output, char character) {
  constexpr std::string_view kHexadecimal = "0123456789abcdef";
  const auto place = kJSONEscapedCharacters.find(character);
  if (place != std::string_view::npos) {
    (output += '\\') += kJSONEscapeNames[place];
  } else {
    const auto byte = static_cast<unsigned char>(character);
    ((output += "\\u00") += kHexadecimal[byte >> 4U]) += kHexadecimal[byte & 0xFU];
  }
}

void appendQuoted(std::string& output, std::string_view text) {
  output += '"';
  for (auto rest = text.begin(); rest != text.end();) {
    const auto escape = std::find_if(rest, text.end(), needsEscape);
    output.append(rest, escape);
    rest = escape;
    if (rest != text.end()) appendEscape(output, *rest++);
  }
  output += '"';
}

class JSONWriter {
 public:
  std::string write(const Value& value) {
    output_.reserve(kUsualSize);
    append(value);
    return std::move(output_);
  }

 private:
  // The bytes that the parameters of a call mostly take.
  static constexpr std::size_t kUsualSize = 128;

  void append(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::Null:
        output_ += "null";
        return;
      case Value::Kind::Double:
        if (std::isnan(*value.number())) refuse("is NaN");
        if (std::isinf(*value.number())) refuse("is infinite");
        [[fallthrough]];
      case Value::Kind::Boolean:
      case Value::Kind::Integer:
        output_ += *value.text();
        return;
      case Value::Kind::String:
        if (!isValidUTF8(*value.string())) refuse("is not UTF-8");
        return appendQuoted(output_, *value.string());
      case Value::Kind::Data:
        refuse("is data");
      case Value::Kind::Array:
        return appendArray(*value.array());
      case Value::Kind::Dictionary:
        return appendDictionary(*value.dictionary());
      case Value::Kind::Object:
        refuse("is an object that JSON cannot hold");
    }
  }

  void appendArray(const Array& array) {
    checkDepth();
    output_ += '[';
    for (std::size_t index = 0; index < array.size(); ++index) {
      if (index > 0) output_ += ',';
      path_.emplace_back(index);
      append(array[index]);
      path_.pop_back();
    }
    output_ += ']';
  }

  void appendDictionary(const Dictionary& dictionary) {
    checkDepth();
    output_ += '{';
    for (const DictionaryEntry& entry : dictionary) {
      if (&entry != dictionary.begin()) output_ += ',';
      if (!isValidUTF8(entry.key)) refuse("has a key that is not UTF-8");
      appendQuoted(output_, entry.key);
      output_ += ':';
      path_.emplace_back(entry.key);
      append(entry.value);
      path_.pop_back();
    }
    output_ += '}';
  }

  void checkDepth() const {
    if (path_.size() >= limits::jsonDepth) {
      refuse("is nested more than " + std::to_string(limits::jsonDepth) + " deep");
    }
  }

  [[noreturn]] void refuse(const std::string& reason) const {
    throw std::invalid_argument("cannot write JSON: " + place() + " " + reason);
  }

  // The place of the value that is being written, as its caller would write it down:
  // parameters["a"][3].
  std::string place() const {
    constexpr std::size_t shownSteps = 16;
    std::string place = "parameters";
    for (std::size_t step = 0; step < std::min(path_.size(), shownSteps); ++step) {
      place += '[';
      if (const auto* key = std::get_if<std::string_view>(&path_[step])) {
        appendQuoted(place, *key);
      } else {
        place += numberText(std::get<std::size_t>(path_[step]));
      }
      place += ']';
    }
    return path_.size() > shownSteps ? place + "..." : place;
  }

  std::string output_;
  // The index or key of each container that is open.
  std::vector<std::variant<std::size_t, std::string_view>> path_;
};

}  // namespace

std::string textWithJSONObject(const Value& value) { return JSONWriter().write(value); }

}  // namespace orx::platform
