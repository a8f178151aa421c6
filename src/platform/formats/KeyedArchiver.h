// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Value.h>

// Keyed archives in the platform's binary property-list form.
namespace orx::platform {

// Archives a value of any kind; what it gives can be read back. An object must be SecureCoding and
// of a class that canUnarchiveClass() of KeyedUnarchiver.h. Throws std::invalid_argument for other
// objects, for text that is not UTF-8, for an object that contains itself, and for more objects,
// deeper nesting or more references to the same containers than can be read back. What
// encodeWithCoder throws comes through.
Data archivedDataWithRootObject(const Value& root);

}  // namespace orx::platform
