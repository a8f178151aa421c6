// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Value.h>

#include <array>
#include <cmath>
#include <stdexcept>

#include "platform/base/IntegerRange.h"
#include "platform/base/Text.h"

namespace orx {

using namespace platform;

namespace {

// Compares by value: a double beyond 2^53 must not be matched by the integers around it.
bool equalNumbers(const Value& integer, double number) {
  if (std::trunc(number) != number) return false;
  if (number < 0) {
    const auto exact = integer.integer();
    return exact && number >= -kTwoTo63 && static_cast<std::int64_t>(number) == *exact;
  }
  const auto exact = integer.unsignedInteger();
  return exact && number < kTwoTo64 && static_cast<std::uint64_t>(number) == *exact;
}

// What a missing key reads as. It outlives this dictionary, and every other.
const Value& nullValue() noexcept { return Dictionary()[""]; }

std::string joined(const Array& array) {
  std::string text = "[";
  for (const Value& value : array) {
    if (text.size() > 1) text += ", ";
    text += value.description();
  }
  return text + "]";
}

std::string joined(const Dictionary& dictionary) {
  std::string text = "{";
  for (const DictionaryEntry& entry : dictionary) {
    if (text.size() > 1) text += ", ";
    text += entry.key + ": " + entry.value.description();
  }
  return text + "}";
}

}  // namespace

Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) { return *this = Value(other); }
// What is assigned may lie inside what is replaced, as in `value = (*value.array())[0]`: it is
// taken out before that ends.
Value& Value::operator=(Value&& other) noexcept {
  Content content(std::move(other.content_));
  content_ = std::move(content);
  return *this;
}
Value::~Value() = default;

Array::Array(std::initializer_list<Value> values) : values_(values) {}

Array::Array(std::vector<Value> values) noexcept : values_(std::move(values)) {}

std::size_t Array::size() const noexcept { return values_.size(); }

bool Array::empty() const noexcept { return values_.empty(); }

const Value& Array::operator[](std::size_t index) const noexcept {
  return index < values_.size() ? values_[index] : nullValue();
}

const Value* Array::begin() const noexcept { return values_.data(); }

const Value* Array::end() const noexcept { return values_.data() + values_.size(); }

void Array::push_back(Value value) { values_.push_back(std::move(value)); }

bool operator==(const Array& left, const Array& right) { return left.values_ == right.values_; }

Value::Value(std::initializer_list<DictionaryEntry> entries) : Value(orx::Dictionary(entries)) {}

std::shared_ptr<const orx::Array> Value::shared(orx::Array array) {
  return std::make_shared<const orx::Array>(std::move(array));
}

std::string_view Value::textAt(const char* text) {
  if (text == nullptr) {
    throw std::invalid_argument("a null pointer is no text; the null value is made of nullptr");
  }
  return text;
}

Value::Kind Value::kind() const noexcept {
  constexpr std::array kinds{Kind::Null,       Kind::Boolean, Kind::Integer, Kind::Integer,
                             Kind::Double,     Kind::String,  Kind::Data,    Kind::Array,
                             Kind::Dictionary, Kind::Object};
  static_assert(kinds.size() == std::variant_size_v<decltype(content_)>);
  return kinds[content_.index()];
}

std::optional<bool> Value::boolean() const noexcept {
  const bool* content = std::get_if<bool>(&content_);
  return content != nullptr ? std::optional(*content) : std::nullopt;
}

std::optional<std::int64_t> Value::integer() const noexcept {
  const auto* content = std::get_if<std::int64_t>(&content_);
  return content != nullptr ? std::optional(*content) : std::nullopt;
}

std::optional<std::uint64_t> Value::unsignedInteger() const noexcept {
  if (const auto* content = std::get_if<std::uint64_t>(&content_)) return *content;
  const auto content = integer();
  if (!content || *content < 0) return std::nullopt;
  return static_cast<std::uint64_t>(*content);
}

std::optional<double> Value::number() const noexcept {
  if (const auto* content = std::get_if<double>(&content_)) return *content;
  if (const auto content = integer()) return static_cast<double>(*content);
  if (const auto content = unsignedInteger()) return static_cast<double>(*content);
  return std::nullopt;
}

const std::string* Value::string() const noexcept { return std::get_if<std::string>(&content_); }

const orx::Data* Value::data() const noexcept { return std::get_if<orx::Data>(&content_); }

const orx::Array* Value::array() const noexcept {
  const auto* content = std::get_if<std::shared_ptr<const orx::Array>>(&content_);
  return content != nullptr ? content->get() : nullptr;
}

const orx::Dictionary* Value::dictionary() const noexcept {
  return std::get_if<orx::Dictionary>(&content_);
}

std::shared_ptr<orx::Object> Value::object() const noexcept {
  const auto* content = std::get_if<std::shared_ptr<orx::Object>>(&content_);
  return content != nullptr ? *content : nullptr;
}

const Value& Value::operator[](std::size_t index) const noexcept {
  const orx::Array* elements = array();
  return elements != nullptr ? (*elements)[index] : nullValue();
}

const Value& Value::operator[](std::string_view key) const noexcept {
  const orx::Dictionary* entries = dictionary();
  return entries != nullptr ? (*entries)[key] : nullValue();
}

std::optional<std::string> Value::text() const {
  switch (kind()) {
    case Kind::String:
      return *string();
    case Kind::Boolean:
      return *boolean() ? "true" : "false";
    case Kind::Integer:
      return integer() ? numberText(*integer()) : numberText(*unsignedInteger());
    case Kind::Double:
      return numberText(*number());
    default:
      return std::nullopt;
  }
}

std::string Value::description() const {
  switch (kind()) {
    case Kind::Null:
      return "(null)";
    case Kind::Data:
      return std::string("<").append(numberText(data()->size())).append(" bytes>");
    case Kind::Array:
      return joined(*array());
    case Kind::Dictionary:
      return joined(*dictionary());
    case Kind::Object:
      return "<object>";
    default:
      return *text();
  }
}

bool operator==(const Value& left, const Value& right) {
  using Kind = Value::Kind;
  if (left.kind() != right.kind()) {
    if (left.kind() == Kind::Integer && right.kind() == Kind::Double) {
      return equalNumbers(left, *right.number());
    }
    if (left.kind() == Kind::Double && right.kind() == Kind::Integer) {
      return equalNumbers(right, *left.number());
    }
    return false;
  }
  if (const Array* array = left.array()) {
    return array == right.array() || *array == *right.array();
  }
  if (const auto object = left.object()) return object->isEqual(right.object().get());
  return left.content_ == right.content_;
}

}  // namespace orx
