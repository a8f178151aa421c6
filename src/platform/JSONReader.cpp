#include <algorithm>
#include <charconv>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "platform/JSONSerialization.h"
#include "platform/Limits.h"

// A namespace of our own, because the next line changes what the vendor's inline functions do and
// a program may hold them with their usual behaviour, too.
#define NLOHMANN_JSON_NAMESPACE_BEGIN \
  namespace nlohmann {                \
  inline namespace orx_reader {
#define NLOHMANN_JSON_NAMESPACE_END \
  }                                 \
  }
#define NLOHMANN_JSON_NAMESPACE nlohmann::orx_reader
// What a server sends must not be able to end the process; numbers are read again below, so nothing
// depends on what is asserted.
#define JSON_ASSERT(condition) static_cast<void>(0)
#include <nlohmann/json.hpp>

namespace orx::JSONSerialization {

namespace {

using VendorJSON = nlohmann::orx_reader::json;

// The vendor's number reading follows the process's locale; this one does not. What is too small
// for a double reads as the vendor's (subnormal or zero) value.
double readDouble(std::string token, double vendorValue) {
  for (char& character : token) {
    const bool partOfNumber = (character >= '0' && character <= '9') || character == '-' ||
                              character == '+' || character == 'e' || character == 'E';
    if (!partOfNumber) character = '.';
  }
  double value = 0;
  const auto result = std::from_chars(token.data(), token.data() + token.size(), value);
  return result.ec == std::errc() ? value : vendorValue;
}

// The vendor's message without its own position, error number and copy of the offending text.
std::string reasonOf(std::string_view message) {
  const auto start = message.find("syntax error");
  if (start != std::string_view::npos) message.remove_prefix(start);
  if (message.find("number overflow") != std::string_view::npos) {
    return "a number is too large";
  }
  return std::string(message.substr(0, message.find("; last read")));
}

// Builds values from the vendor's events. Open arrays and dictionaries stand on a stack of their
// own, so depth costs no machine stack.
class Builder : public VendorJSON::json_sax_t {
 public:
  bool null() override { return add(Value()); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(std::int64_t value) override { return add(value); }
  bool number_unsigned(std::uint64_t value) override { return add(value); }
  bool number_float(double value, const std::string& token) override {
    return add(readDouble(token, value));
  }
  // Copied: the vendor goes on using the room of its own.
  bool string(std::string& value) override { return add(Value(std::string(value))); }
  bool binary(VendorJSON::binary_t&) override { return false; }
  bool start_object(std::size_t) override { return open(Open{.isArray = false}); }
  bool start_array(std::size_t) override { return open(Open{.isArray = true}); }
  bool key(std::string& key) override {
    open_.back().key = key;
    return true;
  }
  bool end_object() override { return close(std::move(open_.back().dictionary)); }
  bool end_array() override { return close(std::move(open_.back().array)); }

  bool parse_error(std::size_t position, const std::string&,
                   const VendorJSON::exception& error) override {
    position_ = position;
    reason_ = reasonOf(error.what());
    return false;
  }

  bool isTooDeep() const { return isTooDeep_; }
  bool hasTooMany() const { return hasTooMany_; }
  std::size_t position() const { return position_; }
  const std::string& reason() const { return reason_; }
  Value takeValue() { return std::move(value_); }

 private:
  struct Open {
    bool isArray;
    Array array{};
    Dictionary dictionary{};
    std::string key{};
  };

  bool open(Open container) {
    if (open_.size() == limits::jsonDepth) {
      isTooDeep_ = true;
      return false;
    }
    open_.push_back(std::move(container));
    return true;
  }

  bool close(Value container) {
    open_.pop_back();
    return add(std::move(container));
  }

  bool add(Value value) {
    if (++values_ > limits::jsonValues) {
      hasTooMany_ = true;
      return false;
    }
    if (open_.empty()) {
      value_ = std::move(value);
    } else if (open_.back().isArray) {
      open_.back().array.push_back(std::move(value));
    } else {
      open_.back().dictionary.set(std::move(open_.back().key), std::move(value));
    }
    return true;
  }

  std::vector<Open> open_;
  Value value_;
  std::size_t values_ = 0;
  bool isTooDeep_ = false;
  bool hasTooMany_ = false;
  std::size_t position_ = 0;
  std::string reason_;
};

// The bytes up to and with the bracket that goes below the limit.
std::size_t positionBelowLimit(std::string_view text) {
  std::size_t depth = 0;
  bool inText = false;
  for (std::size_t position = 0; position < text.size(); ++position) {
    const char character = text[position];
    if (inText && character == '\\') {
      ++position;
    } else if (character == '"') {
      inText = !inText;
    } else if (!inText && (character == '[' || character == '{')) {
      if (++depth > limits::jsonDepth) return position + 1;
    } else if (!inText && (character == ']' || character == '}')) {
      --depth;
    }
  }
  return text.size();
}

Reading failure(std::string_view text, std::size_t bytesRead, std::string_view reason) {
  const std::string_view read = text.substr(0, bytesRead);
  const auto line = std::ranges::count(read, '\n') + 1;
  // npos + 1 is 0: without a line feed the line begins at the text's begin.
  const std::size_t column = read.size() - (read.rfind('\n') + 1);
  std::string description = "The text is not JSON: line " + std::to_string(line) + ", column " +
                            std::to_string(column) + ": " + std::string(reason) + ".";
  Dictionary userInfo{{std::string(NSLocalizedDescriptionKey), std::move(description)}};
  return {Value(), Error::errorWithDomain_code_userInfo(
                       NSCocoaErrorDomain, NSPropertyListReadCorruptError, std::move(userInfo))};
}

Reading read(std::string_view text) {
  if (text.empty()) return failure(text, 0, "it is empty");
  // Both would be skipped by the vendor's reader.
  if (text.starts_with("\xEF\xBB\xBF")) return failure(text, 1, "it begins with a byte order mark");
  if (const auto nul = text.find('\0'); nul != std::string_view::npos) {
    return failure(text, nul + 1, "it holds a NUL");
  }
  Builder builder;
  if (VendorJSON::sax_parse(text.begin(), text.end(), &builder)) {
    return {builder.takeValue(), nullptr};
  }
  if (builder.isTooDeep()) {
    return failure(text, positionBelowLimit(text),
                   "it is nested more than " + std::to_string(limits::jsonDepth) + " deep");
  }
  if (builder.hasTooMany()) {
    return failure(text, text.size(),
                   "it holds more than " + std::to_string(limits::jsonValues) + " values");
  }
  return failure(text, builder.position(), builder.reason());
}

}  // namespace

Reading JSONObjectWithText(std::string_view text) {
  try {
    return read(text);
  } catch (const std::exception& error) {
    return failure({}, 0, error.what());
  }
}

}  // namespace orx::JSONSerialization
