#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <variant>
#include <vector>

#include "platform/JSONSerialization.h"
#include "platform/Limits.h"
#include "platform/Unicode.h"

namespace orx::JSONSerialization {

namespace {

void appendEscaped(std::string& output, std::string_view text) {
  constexpr std::string_view hexadecimal = "0123456789abcdef";
  for (const char character : text) {
    switch (character) {
      case '"':
      case '\\':
      case '/':
        (output += '\\') += character;
        break;
      case '\b':
        output += "\\b";
        break;
      case '\f':
        output += "\\f";
        break;
      case '\n':
        output += "\\n";
        break;
      case '\r':
        output += "\\r";
        break;
      case '\t':
        output += "\\t";
        break;
      default:
        if (const auto byte = static_cast<unsigned char>(character); byte < 0x20) {
          ((output += "\\u00") += hexadecimal[byte >> 4U]) += hexadecimal[byte & 0xFU];
        } else {
          output += character;
        }
    }
  }
}

void appendQuoted(std::string& output, std::string_view text) {
  output += '"';
  appendEscaped(output, text);
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
    append(value);
    return std::move(output_);
  }

 private:
  // A step from a container to what it holds. Keys outlive the writer, as the values do.
  using Step = std::variant<std::size_t, std::string_view>;

  void append(const Value& value) {
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
        return appendDouble(*value.number());
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

  void appendDouble(double number) {
    if (std::isnan(number)) refuse("is NaN");
    if (std::isinf(number)) refuse("is infinite");
    appendNumber(output_, number);
  }

  void appendArray(const Array& array) {
    checkDepth();
    output_ += '[';
    for (std::size_t index = 0; index < array.size(); ++index) {
      if (index > 0) output_ += ',';
      appendAt(index, array[index]);
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
      appendAt(std::string_view(entry.key), entry.value);
    }
    output_ += '}';
  }

  void appendAt(Step step, const Value& value) {
    path_.push_back(step);
    append(value);
    path_.pop_back();
  }

  void checkDepth() const {
    if (path_.size() >= limits::jsonDepth) {
      refuse("is nested more than " + std::to_string(limits::jsonDepth) + " deep");
    }
  }

  [[noreturn]] void refuse(const std::string& reason) const {
    throw std::invalid_argument("cannot write JSON: " + place() + " " + reason);
  }

  // As the caller would write it down: parameters["a"][3].
  std::string place() const {
    constexpr std::size_t shownSteps = 16;
    std::string place = "parameters";
    for (std::size_t index = 0; index < path_.size() && index < shownSteps; ++index) {
      place += '[';
      if (const auto* key = std::get_if<std::string_view>(&path_[index])) {
        appendQuoted(place, *key);
      } else {
        appendNumber(place, std::get<std::size_t>(path_[index]));
      }
      place += ']';
    }
    return path_.size() > shownSteps ? place + "..." : place;
  }

  std::string output_;
  std::vector<Step> path_;
};

}  // namespace

std::string textWithJSONObject(const Value& value) { return Writer().write(value); }

}  // namespace orx::JSONSerialization
