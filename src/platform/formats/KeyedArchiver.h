#pragma once

#include <ORXAccount/platform/Coder.h>
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Value.h>

#include <functional>
#include <memory>
#include <string_view>

// Keyed archives in the platform's binary property-list form.
namespace orx::platform {

namespace KeyedArchiver {

// Archives a value of any kind; an object must be SecureCoding. Throws std::invalid_argument for
// other objects and for text that is not UTF-8.
Data archivedDataWithRootObject(const Value& root);

}  // namespace KeyedArchiver

namespace KeyedUnarchiver {

using Factory = std::function<std::shared_ptr<Object>(const Coder&)>;

// Makes objects archived under this class name readable. Called once for each class, before the
// first archive that holds it is read; calling it again replaces the factory.
void setClass_forClassName(Factory factory, std::string_view className);

struct Reading {
  Value root;                    // null when `error` is set
  std::shared_ptr<Error> error;  // null when the archive was read (NSCocoaErrorDomain, 4864)
};

// Reads an archive that this or any other conforming archiver wrote. Whatever the bytes are, it
// gives a value or an error, in time and memory bounded by their length.
Reading unarchiveObjectWithData(const Data& data);

}  // namespace KeyedUnarchiver

}  // namespace orx::platform
