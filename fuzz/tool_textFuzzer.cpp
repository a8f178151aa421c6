// SPDX-License-Identifier: MIT
// What the command line prints of a service's answer, and the JSON that it takes.

#include <ORXAccount/platform/Terminal.h>

#include <algorithm>
#include <limits>
#include <string>

#include "FuzzTarget.h"
#include "orxaccount/JSON.h"
#include "orxaccount/Output.h"
#include "orxaccount/Picture.h"
#include "orxaccount/Printable.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONSerialization.h"

namespace {

// Nothing that is printed moves the cursor or hides what is beside it.
void checkPrinted(std::string_view printed) {
  ORX_FUZZ_CHECK(orx::platform::isValidUTF8(printed));
  for (std::size_t at = 0; at < printed.size();) {
    const auto character = orx::platform::nextCharacter(printed, at);
    ORX_FUZZ_CHECK(character && (*character == '\n' || !orx::steersTerminal(*character)));
  }
}

void readJSON(const std::string& text) {
  const auto value = tool::valueFromJSON(text);
  const auto library = orx::platform::JSONObjectWithText(text);
  // Two readers, which agree on what both take.
  if (value && library) ORX_FUZZ_CHECK(*value == *library);
  if (!value) return;
  for (const auto layout : {tool::JSONLayout::OneLine, tool::JSONLayout::Indented}) {
    const std::string written = tool::jsonFromValue(*value, layout);
    checkPrinted(written);
    ORX_FUZZ_CHECK(tool::valueFromJSON(written) == value);
  }
  const orx::Array* rows = value->array();
  const auto table = rows != nullptr ? tool::tableOf(*rows, 80) : std::nullopt;
  if (!table) return;
  const auto isNarrow = [](const std::string& line) { return tool::widthOf(line) <= 80; };
  for (const std::string& line : *table) checkPrinted(line);
  // Of too many columns to read any in their share of the room, none is cut.
  ORX_FUZZ_CHECK(std::ranges::all_of(*table, isNarrow) ||
                 table == tool::tableOf(*rows, std::numeric_limits<std::size_t>::max()));
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  const std::string line = tool::printable(text, 100);
  checkPrinted(line);
  ORX_FUZZ_CHECK(line.find('\n') == std::string::npos && line.size() < 150);
  checkPrinted(tool::printableJSON(text));
  ORX_FUZZ_CHECK(!tool::formatOf(orx::Data(text)).name.empty());
  readJSON(std::string(text));
}
