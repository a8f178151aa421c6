// SPDX-License-Identifier: MIT
#include "JSON.h"

#include <nlohmann/json.hpp>

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

orx::Value fromJSON(const JSON& json) {
  switch (json.type()) {
    case JSON::value_t::boolean:
      return json.get<bool>();
    case JSON::value_t::number_integer:
      return json.get<std::int64_t>();
    case JSON::value_t::number_unsigned:
      return json.get<std::uint64_t>();
    case JSON::value_t::number_float:
      return json.get<double>();
    case JSON::value_t::string:
      return json.get<std::string>();
    case JSON::value_t::array: {
      orx::Array array;
      for (const JSON& element : json) array.push_back(fromJSON(element));
      return array;
    }
    case JSON::value_t::object: {
      orx::Dictionary dictionary;
      for (const auto& [key, entry] : json.items()) dictionary.set(key, fromJSON(entry));
      return dictionary;
    }
    default:
      return nullptr;
  }
}

}  // namespace

std::string jsonFromValue(const orx::Value& value, JSONLayout layout) {
  const int indent = layout == JSONLayout::Indented ? 2 : -1;
  return printableJSON(toJSON(value).dump(indent, ' ', false, JSON::error_handler_t::replace));
}

std::optional<orx::Value> valueFromJSON(const std::string& text) {
  // Values are converted and destroyed by recursion: without a bound, deep nesting ends in SIGSEGV.
  constexpr int kDeepest = 512;
  bool tooDeep = false;
  const auto notTooDeep = [&](int depth, JSON::parse_event_t, const JSON&) {
    tooDeep = tooDeep || depth > kDeepest;
    return !tooDeep;
  };
  const JSON json = JSON::parse(text, notTooDeep, false);
  if (tooDeep || json.is_discarded()) return std::nullopt;
  return fromJSON(json);
}

}  // namespace tool
