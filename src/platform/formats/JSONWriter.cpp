// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/base/Text.h"
#include "platform/base/Unicode.h"
#include "platform/base/Wiping.h"
#include "platform/formats/JSONScanner.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform {

namespace {

bool needsEscape(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\' ||
         character == '/';
}

template <typename Text>
void appendEscape(Text& output, char character) {
  constexpr std::string_view kHexadecimal = "0123456789abcdef";
  const auto place = kJSONEscapedCharacters.find(character);
  if (place != std::string_view::npos) {
    (output += '\\') += kJSONEscapeNames[place];
  } else {
    const auto byte = static_cast<unsigned char>(character);
    ((output += "\\u00") += kHexadecimal[byte >> 4U]) += kHexadecimal[byte & 0xFU];
  }
}

template <typename Text>
void appendQuoted(Text& output, std::string_view text) {
  output += '"';
  for (auto rest = text.begin(); rest != text.end();) {
    const auto escape = std::find_if(rest, text.end(), needsEscape);
    output.append(rest, escape);
    rest = escape;
    if (rest != text.end()) appendEscape(output, *rest++);
  }
  output += '"';
}

// The parameters of a sign-in hold the password, so the text leaves no copy behind where it grows.
class SecretOutput {
 public:
  SecretOutput& operator+=(char character) { return *this += std::string_view(&character, 1); }
  SecretOutput& operator+=(std::string_view piece) {
    const std::size_t needed = text_.size() + piece.size();
    if (needed > text_.capacity()) text_.makeRoom(std::max(2 * needed, kUsualSize));
    text_ += piece;
    return *this;
  }
  SecretOutput& append(std::string_view::iterator begin, std::string_view::iterator end) {
    return *this += std::string_view(begin, end);
  }
  std::string take() { return std::move(text_); }

 private:
  // The bytes that the parameters of a call mostly take.
  static constexpr std::size_t kUsualSize = 128;

  Wiped<std::string> text_;
};

class JSONWriter {
 public:
  std::string write(const Value& value) {
    append(value, nullptr);
    return output_.take();
  }

 private:
  // The index or key of a container that is open. Each lies in the frame of its own call.
  struct Step {
    const Step* outer;
    std::variant<std::size_t, std::string_view> at;
    std::size_t depth = outer != nullptr ? outer->depth + 1 : 1;
  };

  void append(const Value& value, const Step* step) {
    switch (value.kind()) {
      case Value::Kind::Null:
        output_ += "null";
        return;
      case Value::Kind::Double:
        if (std::isnan(*value.number())) refuse(step, "is NaN");
        if (std::isinf(*value.number())) refuse(step, "is infinite");
        [[fallthrough]];
      case Value::Kind::Boolean:
      case Value::Kind::Integer:
        output_ += *value.text();
        return;
      case Value::Kind::String:
        if (!isValidUTF8(*value.string())) refuse(step, "is not UTF-8");
        return appendQuoted(output_, *value.string());
      case Value::Kind::Data:
        refuse(step, "is data");
      case Value::Kind::Array:
        return appendArray(*value.array(), step);
      case Value::Kind::Dictionary:
        return appendDictionary(*value.dictionary(), step);
      case Value::Kind::Object:
        refuse(step, "is an object that JSON cannot hold");
    }
  }

  void appendArray(const Array& array, const Step* step) {
    checkDepth(step);
    output_ += '[';
    for (std::size_t index = 0; index < array.size(); ++index) {
      if (index > 0) output_ += ',';
      const Step inner{.outer = step, .at = index};
      append(array[index], &inner);
    }
    output_ += ']';
  }

  void appendDictionary(const Dictionary& dictionary, const Step* step) {
    checkDepth(step);
    output_ += '{';
    for (const DictionaryEntry& entry : dictionary) {
      if (&entry != dictionary.begin()) output_ += ',';
      if (!isValidUTF8(entry.key)) refuse(step, "has a key that is not UTF-8");
      appendQuoted(output_, entry.key);
      output_ += ':';
      const Step inner{.outer = step, .at = entry.key};
      append(entry.value, &inner);
    }
    output_ += '}';
  }

  static void checkDepth(const Step* step) {
    if (step != nullptr && step->depth >= limits::jsonDepth) {
      refuse(step, "is nested more than " + std::to_string(limits::jsonDepth) + " deep");
    }
  }

  [[noreturn]] static void refuse(const Step* step, const std::string& reason) {
    throw std::invalid_argument("cannot write JSON: " + placeOf(step) + " " + reason);
  }

  // The place of the value that is being written, as its caller would write it down:
  // parameters["a"][3].
  static std::string placeOf(const Step* innermost) {
    constexpr std::size_t shownSteps = 16;
    std::vector<const Step*> path;
    for (const Step* step = innermost; step != nullptr; step = step->outer) path.push_back(step);
    std::ranges::reverse(path);
    std::string place = "parameters";
    for (std::size_t shown = 0; shown < std::min(path.size(), shownSteps); ++shown) {
      const auto& at = path[shown]->at;
      place += '[';
      if (const auto* key = std::get_if<std::string_view>(&at)) {
        appendQuoted(place, *key);
      } else {
        place += numberText(std::get<std::size_t>(at));
      }
      place += ']';
    }
    return path.size() > shownSteps ? place + "..." : place;
  }

  SecretOutput output_;
};

}  // namespace

std::string textWithJSONObject(const Value& value) { return JSONWriter().write(value); }

}  // namespace orx::platform
