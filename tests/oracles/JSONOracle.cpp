// SPDX-License-Identifier: MIT
#include "oracles/JSONOracle.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace orx::testing {

namespace {

using OracleJSON = nlohmann::json;

class Builder : public OracleJSON::json_sax_t {
 public:
  bool null() override { return add(Value()); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(std::int64_t value) override { return add(value); }
  bool number_unsigned(std::uint64_t value) override { return add(value); }
  bool number_float(double value, const std::string&) override { return add(value); }
  bool string(std::string& value) override { return add(Value(std::move(value))); }
  bool binary(OracleJSON::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return open(false); }
  bool start_array(std::size_t) override { return open(true); }
  bool key(std::string& key) override {
    open_.back().key = std::move(key);
    return true;
  }
  bool end_object() override { return close(std::move(open_.back().dictionary)); }
  bool end_array() override { return close(std::move(open_.back().array)); }
  bool parse_error(std::size_t position, const std::string&,
                   const OracleJSON::exception&) override {
    position_ = position;
    return false;
  }

  std::size_t position() const { return position_; }
  Value takeValue() { return std::move(value_); }

 private:
  struct Open {
    bool isArray;
    Array array{};
    Dictionary dictionary{};
    std::string key{};
  };

  bool open(bool isArray) {
    open_.push_back({.isArray = isArray});
    return true;
  }

  bool close(Value container) {
    open_.pop_back();
    return add(std::move(container));
  }

  bool add(Value value) {
    if (open_.empty()) {
      value_ = std::move(value);
    } else if (open_.back().isArray) {
      open_.back().array.push_back(std::move(value));
    } else {
      open_.back().dictionary.set(open_.back().key, std::move(value));
    }
    return true;
  }

  std::vector<Open> open_;
  Value value_;
  std::size_t position_ = 0;
};

std::string placeOf(std::string_view text, std::size_t bytesRead) {
  std::size_t line = 1;
  std::size_t column = 0;
  for (const char character : text.substr(0, bytesRead)) {
    column = character == '\n' ? 0 : column + 1;
    if (character == '\n') ++line;
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string hexadecimal(double number) {
  std::array<char, 32> digits{};
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::hex);
  return {digits.data(), end.ptr};
}

std::string quoted(const std::string& text) { return std::to_string(text.size()) + '"' + text; }

}  // namespace

JSONVerdict readJSONByOracle(std::string_view text) {
  Builder builder;
  if (OracleJSON::sax_parse(text.begin(), text.end(), &builder)) return {builder.takeValue(), {}};
  return {std::nullopt, placeOf(text, builder.position())};
}

std::string exactDescription(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::String:
      return quoted(*value.string());
    case Value::Kind::Double:
      return "double " + hexadecimal(*value.number());
    case Value::Kind::Array: {
      std::string text = "[";
      for (const Value& item : *value.array()) text += exactDescription(item) + ",";
      return text + "]";
    }
    case Value::Kind::Dictionary: {
      std::string text = "{";
      for (const DictionaryEntry& entry : *value.dictionary()) {
        text += quoted(entry.key) + ":" + exactDescription(entry.value) + ",";
      }
      return text + "}";
    }
    default:
      return value.description();
  }
}

}  // namespace orx::testing
