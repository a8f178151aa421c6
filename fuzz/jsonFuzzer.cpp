#include <ORXAccount/platform/Error.h>

#include "FuzzTarget.h"
#include "platform/JSONSerialization.h"
#include "platform/Unicode.h"

// Whatever is read can be written, and the written text reads back as an equal value.
ORX_FUZZ_TARGET(text) {
  namespace json = orx::JSONSerialization;
  const auto reading = json::JSONObjectWithText(text);
  if (reading.error) {
    ORX_FUZZ_CHECK(reading.value.isNull());
    ORX_FUZZ_CHECK(orx::isValidUTF8(reading.error->localizedDescription()));
    return;
  }
  const std::string written = json::textWithJSONObject(reading.value);
  const auto again = json::JSONObjectWithText(written);
  ORX_FUZZ_CHECK(!again.error);
  ORX_FUZZ_CHECK(again.value == reading.value);
}
