// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Error.h>

#include "FuzzTarget.h"
#include "oracles/JSONOracle.h"
#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONSerialization.h"

namespace json = orx::platform;
namespace testing = orx::testing;

static bool nestsTooDeep(std::string_view text) {
  return std::ranges::count_if(text, [](char character) {
           return character == '[' || character == '{';
         }) > static_cast<std::ptrdiff_t>(orx::platform::limits::jsonDepth);
}

// The library refuses empty texts, a byte order mark, NUL and deep nesting, some of which the
// oracle accepts. For every other text both must give the same value, or name the same place of the
// same error.
static void compare(const json::Result<orx::Value>& reading, std::string_view text) {
  using namespace std::string_view_literals;
  // What begins with the mark of another encoding is not what the other one reads.
  for (const auto mark : {"\xFF\xFE"sv, "\xFE\xFF"sv, "\0\0\xFE\xFF"sv}) {
    if (text.starts_with(mark)) return;
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  if (text.empty() || text.starts_with("\xEF") || text.find('\0') != std::string_view::npos) {
    ORX_FUZZ_CHECK(!reading);
    return;
  }
  if (nestsTooDeep(text)) return;
  const auto expected = testing::readJSONByOracle(text);
  ORX_FUZZ_CHECK(expected.value.has_value() == reading.has_value());
  if (!reading) {
    const std::string begin = "The text is not JSON: " + expected.place + ": ";
    ORX_FUZZ_CHECK(reading.error()->localizedDescription().starts_with(begin));
    return;
  }
  ORX_FUZZ_CHECK(testing::exactDescription(*reading) == testing::exactDescription(*expected.value));
}

// Whatever is read can be written, and the written text reads back as an equal value.
ORX_FUZZ_TARGET(text) {
  const auto reading = json::JSONObjectWithText(text);
  compare(reading, text);
  if (!reading) {
    ORX_FUZZ_CHECK(orx::platform::isValidUTF8(reading.error()->localizedDescription()));
    return;
  }
  const std::string written = json::textWithJSONObject(*reading);
  const auto again = json::JSONObjectWithText(written);
  ORX_FUZZ_CHECK(again);
  ORX_FUZZ_CHECK(*again == *reading);
}
