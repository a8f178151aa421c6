// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountUser.h>

#include <stdexcept>

#include "FuzzTarget.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "user/ArchivedClasses.h"

// What was read and written reads back the same.
ORX_FUZZ_TARGET(text) {
  static const bool registered = (orx::user::registerArchivedClasses(), true);
  ORX_FUZZ_CHECK(registered);
  const auto reading = orx::platform::unarchiveObjectWithData(orx::Data(text));
  if (!reading) {
    ORX_FUZZ_CHECK(reading.error()->code() == orx::NSCoderReadCorruptError);
    return;
  }
  orx::Data written;
  try {
    written = orx::platform::archivedDataWithRootObject(*reading);
  } catch (const std::invalid_argument&) {
    // What may fan out grows with the length, and bytes that meant nothing are gone now.
    return;
  }
  const auto again = orx::platform::unarchiveObjectWithData(written);
  // Bytes instead of values: a record without fields and a number that is none equal nothing.
  ORX_FUZZ_CHECK(again);
  ORX_FUZZ_CHECK(orx::platform::archivedDataWithRootObject(*again) == written);
}
