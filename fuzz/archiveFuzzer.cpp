#include <ORXAccount/ORVAAccountUser.h>

#include "FuzzTarget.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "user/ArchivedClasses.h"

// Whatever is read can be archived again, and that archive reads back the same.
ORX_FUZZ_TARGET(text) {
  static const bool registered = (orx::user::registerArchivedClasses(), true);
  ORX_FUZZ_CHECK(registered);
  const auto reading = orx::platform::unarchiveObjectWithData(orx::Data(text));
  if (!reading) {
    ORX_FUZZ_CHECK(reading.error()->code() == orx::NSCoderReadCorruptError);
    return;
  }
  const orx::Data written = orx::platform::archivedDataWithRootObject(*reading);
  const auto again = orx::platform::unarchiveObjectWithData(written);
  // The limit on references that fan out grows with the archive's length. An archive written
  // shorter, without unused bytes, may exceed it.
  if (!again && written.size() < text.size()) return;
  // Compares bytes, because some values do not equal themselves: NaN, and a record without fields.
  ORX_FUZZ_CHECK(again);
  ORX_FUZZ_CHECK(orx::platform::archivedDataWithRootObject(*again) == written);
}
