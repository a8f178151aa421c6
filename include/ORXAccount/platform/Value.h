// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Dictionary.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace orx {

class Array;

template <typename T>
concept ValueInteger = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                       !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                       !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

// One untyped value: the payload of a result, an entry of a parameter dictionary, of a
// notification's information or of a task dictionary. It is null, a boolean, an integer (the whole
// signed and unsigned 64-bit range), a double, UTF-8 text, data, an array, a dictionary or an
// opaque object. Values are cheap to copy (arrays, dictionaries, data and objects are shared) and
// an unchanging value may be read from any thread.
//
// Characters (of any width), enumerations and pointers other than text make no value: whether
// Value('c') is a text or a number, only the caller knows. Braces where a value is wanted are a
// dictionary, `{{"a", {{"b", 1}}}}`; empty ones, `{{"a", {}}}`, the null value. An array is always
// named: `{{"a", orx::Array{1, 2}}}`.
class ORX_EXPORT Value {
 public:
  enum class Kind { Null, Boolean, Integer, Double, String, Data, Array, Dictionary, Object };

  Value() noexcept = default;
  // Not inline: g++ 12 warns of uninitialised content wherever it moves the variant inline.
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();
  Value(std::nullptr_t) noexcept {}
  // Templates, most of the following, so that neither does an argument become another kind by a
  // conversion, nor can braces stand for anything but the entries of a dictionary.
  template <std::same_as<bool> T>
  Value(T boolean) noexcept : content_(boolean) {}
  template <ValueInteger T>
  Value(T integer) noexcept : content_(contentOf(integer)) {}
  template <std::floating_point T>
  Value(T number) noexcept : content_(static_cast<double>(number)) {}
  template <std::same_as<std::string> T>
  Value(T text) noexcept : content_(std::move(text)) {}
  template <std::same_as<std::string_view> T>
  Value(T text) : content_(std::in_place_type<std::string>, text) {}
  // Throws std::invalid_argument for a null pointer.
  template <std::convertible_to<const char*> T>
  Value(T text) : content_(std::in_place_type<std::string>, textAt(text)) {}
  template <std::same_as<orx::Data> T>
  Value(T data) noexcept : content_(std::move(data)) {}
  template <std::same_as<orx::Array> T>
  Value(T array) : content_(shared(std::move(array))) {}
  template <std::same_as<orx::Dictionary> T>
  Value(T dictionary) noexcept : content_(std::move(dictionary)) {}
  Value(std::initializer_list<DictionaryEntry> entries);
  // An empty one gives the null value.
  template <typename T>
  requires std::constructible_from<Value, T> Value(std::optional<T> content)
      : Value(content ? Value(*std::move(content)) : Value()) {}
  // A null pointer gives the null value.
  template <std::derived_from<Object> T>
  Value(std::shared_ptr<T> object) noexcept
      : content_(object ? Content(std::static_pointer_cast<orx::Object>(std::move(object)))
                        : Content()) {}

  Kind kind() const noexcept;
  bool isNull() const noexcept { return kind() == Kind::Null; }

  // Each of these gives the content when the value is of that kind, and nothing otherwise: no
  // conversion is made, except that integer() and unsignedInteger() give any integer that their
  // type can hold and number() gives integers too. The pointers live as long as this value.
  std::optional<bool> boolean() const noexcept;
  std::optional<std::int64_t> integer() const noexcept;
  std::optional<std::uint64_t> unsignedInteger() const noexcept;
  std::optional<double> number() const noexcept;
  const std::string* string() const noexcept;
  const orx::Data* data() const noexcept;
  const orx::Array* array() const noexcept;
  const orx::Dictionary* dictionary() const noexcept;
  std::shared_ptr<orx::Object> object() const noexcept;
  // The object when it is a T, else null.
  template <std::derived_from<orx::Object> T>
  std::shared_ptr<T> objectOf() const noexcept {
    return std::dynamic_pointer_cast<T>(object());
  }

  // What an array holds at this index, and a dictionary under this key: the null value where
  // nothing is, and for a value of another kind. It lives until this value is changed or gone.
  const Value& operator[](std::size_t index) const noexcept;
  const Value& operator[](std::string_view key) const noexcept;

  // The text that stands for this value where text is asked for: text as it is, a number in the
  // fewest digits that read back as the same number (without an exponent from 1e-5 to 1e21), a
  // boolean as "true" or "false". Absent for null, data, arrays, dictionaries and objects.
  std::optional<std::string> text() const;

  // A text for people (a log line). Its form is not a format; there is one for every value.
  std::string description() const;

  // By content: integers and doubles by their numeric value, dictionaries without regard to order,
  // objects by Object::isEqual. A boolean equals booleans only.
  friend ORX_EXPORT bool operator==(const Value& left, const Value& right);

 private:
  using Content = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double,
                               std::string, orx::Data, std::shared_ptr<const orx::Array>,
                               orx::Dictionary, std::shared_ptr<orx::Object>>;

  // Each integer is stored in one way only (unsigned when it is beyond the signed range), so equal
  // integers are equal contents.
  template <ValueInteger T>
  static Content contentOf(T integer) noexcept {
    if (std::in_range<std::int64_t>(integer)) return static_cast<std::int64_t>(integer);
    return static_cast<std::uint64_t>(integer);
  }
  static std::shared_ptr<const orx::Array> shared(orx::Array array);
  static std::string_view textAt(const char* text);

  Content content_;
};

// Values in order, each of any kind; a copy has its own. `Array{Array{1}}` is one array to some
// compilers and two to others, as with every container: `Array{Value(Array{1})}` is two to all.
class ORX_EXPORT Array {
 public:
  Array() noexcept = default;
  Array(std::initializer_list<Value> values);
  explicit Array(std::vector<Value> values) noexcept;

  std::size_t size() const noexcept;
  bool empty() const noexcept;
  // The null value where nothing is. Like the pointers it lives until this array is changed or
  // gone.
  const Value& operator[](std::size_t index) const noexcept;
  const Value* begin() const noexcept;
  const Value* end() const noexcept;
  void push_back(Value value);

  friend ORX_EXPORT bool operator==(const Array& left, const Array& right);

 private:
  std::vector<Value> values_;
};

// One entry of a dictionary; the key is UTF-8 text.
struct DictionaryEntry {
  DictionaryEntry(std::string_view aKey, Value aValue) : key(aKey), value(std::move(aValue)) {}
  // Else the literal 0 would be taken for a pointer to text, as in `{{0, 1}}`.
  DictionaryEntry(std::nullptr_t, Value) = delete;

  std::string key;
  Value value;
};

}  // namespace orx
