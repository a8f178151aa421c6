// SPDX-License-Identifier: MIT
#include "JSON.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "Printable.h"

namespace tool {
namespace {

using JSON = nlohmann::ordered_json;

JSON toJSON(const orx::Value& value) {
  switch (value.kind()) {
    case orx::Value::Kind::Boolean:
      return *value.boolean();
    case orx::Value::Kind::Integer:
      if (const auto integer = value.integer()) return *integer;
      return *value.unsignedInteger();
    case orx::Value::Kind::Double:
      return *value.number();
    case orx::Value::Kind::String:
      return *value.string();
    case orx::Value::Kind::Data:
      return JSON{{"bytes", value.data()->size()}};
    case orx::Value::Kind::Array: {
      JSON array = JSON::array();
      for (const orx::Value& element : *value.array()) array.push_back(toJSON(element));
      return array;
    }
    case orx::Value::Kind::Dictionary: {
      JSON object = JSON::object();
      // The keys are unique already. Looking for each one again would take quadratic time.
      auto& entries = static_cast<JSON::object_t::Container&>(object.get_ref<JSON::object_t&>());
      for (const auto& [key, entry] : *value.dictionary()) entries.emplace_back(key, toJSON(entry));
      return object;
    }
    case orx::Value::Kind::Null:
    case orx::Value::Kind::Object:
      break;
  }
  return nullptr;
}

// Puts the values together as they are read. A document of nlohmann's in between would look for
// each key among all that came before it.
class ValueReader {
 public:
  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(std::int64_t value) { return add(value); }
  bool number_unsigned(std::uint64_t value) { return add(value); }
  bool number_float(double value, const std::string&) { return add(value); }
  bool string(std::string& text) { return add(std::move(text)); }
  bool binary(JSON::binary_t&) { return false; }
  bool start_object(std::size_t) { return open(true); }
  bool start_array(std::size_t) { return open(false); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }
  bool key(std::string& name) {
    open_.back().key = std::move(name);
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) {
    return false;
  }

  orx::Value take() { return std::move(whole_); }

 private:
  struct Container {
    bool isObject;
    orx::Dictionary dictionary;
    orx::Array array;
    std::string key;
  };

  bool add(orx::Value value) {
    if (open_.empty()) {
      whole_ = std::move(value);
    } else if (Container& container = open_.back(); container.isObject) {
      container.dictionary.set(container.key, std::move(value));
    } else {
      container.array.push_back(std::move(value));
    }
    return true;
  }
  bool open(bool isObject) {
    // Values are written and destroyed by recursion: without a bound, deep nesting ends in SIGSEGV.
    constexpr std::size_t kDeepest = 512;
    if (open_.size() == kDeepest) return false;
    open_.push_back({.isObject = isObject, .dictionary = {}, .array = {}, .key = {}});
    return true;
  }
  bool close() {
    Container container = std::move(open_.back());
    open_.pop_back();
    return container.isObject ? add(std::move(container.dictionary))
                              : add(std::move(container.array));
  }

  orx::Value whole_;
  std::vector<Container> open_;
};

}  // namespace

std::string jsonFromValue(const orx::Value& value, JSONLayout layout) {
  const int indent = layout == JSONLayout::Indented ? 2 : -1;
  return printableJSON(toJSON(value).dump(indent, ' ', false, JSON::error_handler_t::replace));
}

std::optional<orx::Value> valueFromJSON(const std::string& text) {
  ValueReader reader;
  if (!JSON::sax_parse(text, &reader)) return std::nullopt;
  return reader.take();
}

}  // namespace tool
