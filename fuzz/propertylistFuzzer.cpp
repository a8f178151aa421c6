// SPDX-License-Identifier: MIT
#include "FuzzTarget.h"
#include "platform/formats/PropertyList.h"

namespace {

using orx::platform::PropertyListReader;
using Kind = PropertyListReader::Kind;

// Looks at each object once and not into its elements, so the time is proportional to the input.
void readObject(const PropertyListReader& list, PropertyListReader::Reference object) {
  switch (list.kind(object)) {
    case Kind::Null:
      return;
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real:
      ORX_FUZZ_CHECK(list.scalar(object).text());
      return;
    case Kind::Date:
      (void)list.date(object);
      return;
    case Kind::Data:
      ORX_FUZZ_CHECK(list.scalar(object).data());
      return;
    case Kind::String:
    case Kind::UTF16String: {
      // Text that was read can be written and reads back the same.
      const std::string text = list.string(object);
      orx::platform::PropertyListWriter writer;
      const orx::Data written = writer.finish(writer.addString(text));
      ORX_FUZZ_CHECK(PropertyListReader(written.bytes()).string(0) == text);
      return;
    }
    case Kind::UID:
      (void)list.UID(object);
      return;
    case Kind::Array:
    case Kind::Set:
    case Kind::Dictionary:
      break;
  }
  for (std::size_t index = 0; index < list.count(object); ++index) {
    (void)list.kind(list.element(object, index));
    if (list.kind(object) == Kind::Dictionary) (void)list.kind(list.key(object, index));
  }
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  try {
    const PropertyListReader list({bytes, text.size()});
    for (PropertyListReader::Reference object = 0; object < list.size(); ++object) {
      try {
        readObject(list, object);
      } catch (const orx::platform::MalformedPropertyList&) {
        // This object is malformed; the others may be well-formed.
      }
    }
  } catch (const orx::platform::MalformedPropertyList&) {
    return;
  }
}
