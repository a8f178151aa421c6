// SPDX-License-Identifier: MIT
#include "platform/formats/ArchiveValues.h"

#include <cmath>
#include <limits>

namespace orx::testing {

namespace {

Dictionary largeDictionary() {
  Dictionary dictionary;
  for (int i = 0; i < 1000; ++i) {
    dictionary.set("key " + std::to_string(i), "value " + std::to_string(i % 37));
  }
  return dictionary;
}

Array integers() {
  Array array;
  for (const std::int64_t bound : {8, 16, 31, 32, 53, 62}) {
    const std::int64_t power = std::int64_t{1} << bound;
    for (const std::int64_t integer : {power - 1, power, -power, -power - 1}) {
      array.push_back(integer);
    }
  }
  array.push_back(std::numeric_limits<std::int64_t>::min());
  array.push_back(std::numeric_limits<std::int64_t>::max());
  return array;
}

}  // namespace

std::vector<NamedValue> archiveValues(bool NULs) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<NamedValue> values{
      {"text", "text"},
      {"empty text", ""},
      {"text of fourteen and fifteen", Array{"12345678901234", "123456789012345"}},
      {"long text", std::string(70000, 'x')},
      {"long wide text", std::string(300, 'x') + "\u00e9"},
      {"beyond ASCII", "\u007f \u0080 \u07ff \u0800 \ue000 \uffff"},
      {"emoji", "\U0001f600 \U0010ffff"},
      {"combining", Array{"e\u0301", "\u00e9"}},
      {"booleans", Array{true, false, true}},
      {"null in a list", Array{nullptr, 1, nullptr}},
      {"integers", integers()},
      {std::string(kBeyondSignedIntegers),
       Array{std::uint64_t{1} << 63, std::numeric_limits<std::uint64_t>::max()}},
      {"doubles", Array{0.1, -0.0, 5e-324, 1e308, 1.0, kInfinity, -kInfinity}},
      {"not a number", std::nan("")},
      {"data", Data(std::string_view("\0\x01\xff", 3))},
      {"empty data", Data()},
      {"empty list", Array()},
      {"empty dictionary", Dictionary()},
      {"empty key", Dictionary{{"", "empty"}, {"\u00fc", "wide"}}},
      {"text of the archive's null", Dictionary{{"$null", "$null"}}},
      {"names of the archive's own", Dictionary{{"$class", "NS.keys"}, {"NS.objects", "root"}}},
      {"dictionary", Dictionary{{"b", 1}, {"a", Array{Dictionary{{"c", nullptr}}}}}},
      {"equal texts", Array{"same", "same", Dictionary{{"same", "same"}}}},
      {"large dictionary", largeDictionary()},
      {"deepest", nested(512)},
  };
  if (NULs) {
    const std::string text("a\0b", 3);
    values.push_back({"NUL", Dictionary{{text, text}, {"wide", text + "\u00e9"}}});
  }
  return values;
}

Value nested(std::size_t depth) {
  Value value = depth % 2 == 0 ? Value(Array()) : Value(Dictionary());
  for (std::size_t level = 1; level < depth; ++level) {
    if (level % 2 == 0) {
      value = Array{std::move(value)};
    } else {
      value = Dictionary{{"level", std::move(value)}};
    }
  }
  return value;
}

}  // namespace orx::testing
