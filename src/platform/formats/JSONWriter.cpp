#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <variant>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform::JSONSerialization {

namespace {

bool needsEscape(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\' ||
         character == '/';
}

void appendEscape(std::string& output, char character) {
  constexpr std::string_view hexadecimal = "0123456789abcdef";
  constexpr std::string_view named = "\b\f\n\r\t";
  constexpr std::string_view names = "bfnrt";
  output += '\\';
  if (const auto place = named.find(character); place != std::string_view::npos) {
    output += names[place];
  } else if (const auto byte = static_cast<unsigned char>(character); byte < 0x20) {
    ((output += "u00") += hexadecimal[byte >> 4U]) += hexadecimal[byte & 0xFU];
  } else {
    output += character;
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

template <typename Number>
void appendNumber(std::string& output, Number number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  output.append(digits.data(), end.ptr);
}

// What the parameters of a call mostly take.
constexpr std::size_t kUsualSize = 128;

class Writer {
 public:
  std::string write(const Value& value) {
    output_.reserve(kUsualSize);
    append(value, nullptr);
    return std::move(output_);
  }

 private:
  // A step from a container to what it holds. All steps to a value stand on the stack.
  struct Step {
    const Step* before;
    std::size_t depth;
    std::variant<std::size_t, std::string_view> place;
  };

  static std::size_t depthOf(const Step* last) { return last != nullptr ? last->depth : 0; }

  void append(const Value& value, const Step* last) {
    switch (value.kind()) {
      case Value::Kind::Null:
        output_ += "null";
        return;
      case Value::Kind::Boolean:
        output_ += *value.boolean() ? "true" : "false";
        return;
      case Value::Kind::Integer:
        if (const auto integer = value.integer()) return appendNumber(output_, *integer);
        return appendNumber(output_, *value.unsignedInteger());
      case Value::Kind::Double:
        return appendDouble(*value.number(), last);
      case Value::Kind::String:
        if (!isValidUTF8(*value.string())) refuse(last, "is not UTF-8");
        return appendQuoted(output_, *value.string());
      case Value::Kind::Data:
        refuse(last, "is data");
      case Value::Kind::Array:
        return appendArray(*value.array(), last);
      case Value::Kind::Dictionary:
        return appendDictionary(*value.dictionary(), last);
      case Value::Kind::Object:
        refuse(last, "is an object that JSON cannot hold");
    }
  }

  void appendDouble(double number, const Step* last) {
    if (std::isnan(number)) refuse(last, "is NaN");
    if (std::isinf(number)) refuse(last, "is infinite");
    appendNumber(output_, number);
  }

  void appendArray(const Array& array, const Step* last) {
    checkDepth(last);
    output_ += '[';
    for (std::size_t index = 0; index < array.size(); ++index) {
      if (index > 0) output_ += ',';
      const Step step{last, depthOf(last) + 1, index};
      append(array[index], &step);
    }
    output_ += ']';
  }

  void appendDictionary(const Dictionary& dictionary, const Step* last) {
    checkDepth(last);
    output_ += '{';
    for (const DictionaryEntry& entry : dictionary) {
      if (&entry != dictionary.begin()) output_ += ',';
      if (!isValidUTF8(entry.key)) refuse(last, "has a key that is not UTF-8");
      appendQuoted(output_, entry.key);
      output_ += ':';
      const Step step{last, depthOf(last) + 1, std::string_view(entry.key)};
      append(entry.value, &step);
    }
    output_ += '}';
  }

  static void checkDepth(const Step* last) {
    if (depthOf(last) >= limits::jsonDepth) {
      refuse(last, "is nested more than " + std::to_string(limits::jsonDepth) + " deep");
    }
  }

  [[noreturn]] static void refuse(const Step* last, const std::string& reason) {
    throw std::invalid_argument("cannot write JSON: " + placeAt(last) + " " + reason);
  }

  // As the caller would write it down: parameters["a"][3].
  static std::string placeAt(const Step* last) {
    constexpr std::size_t shownSteps = 16;
    std::vector<const Step*> path(depthOf(last));
    for (const Step* step = last; step != nullptr; step = step->before)
      path[step->depth - 1] = step;
    std::string place = "parameters";
    for (std::size_t index = 0; index < path.size() && index < shownSteps; ++index) {
      place += '[';
      if (const auto* key = std::get_if<std::string_view>(&path[index]->place)) {
        appendQuoted(place, *key);
      } else {
        appendNumber(place, std::get<std::size_t>(path[index]->place));
      }
      place += ']';
    }
    return path.size() > shownSteps ? place + "..." : place;
  }

  std::string output_;
};

}  // namespace

std::string textWithJSONObject(const Value& value) { return Writer().write(value); }

}  // namespace orx::platform::JSONSerialization
