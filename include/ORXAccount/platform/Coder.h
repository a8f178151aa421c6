// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/Value.h>

#include <string_view>

namespace orx {

// The keyed fields of one object inside an archive: written while the object is being archived,
// read while it is being restored. Lives for the length of that call.
class ORX_EXPORT Coder {
 public:
  virtual ~Coder();

  // A null value writes the archive's null. A key written twice keeps the last value.
  virtual void encodeObject_forKey(const Value& object, std::string_view key) = 0;
  // The value under `key` when it is of `kind`; the null value otherwise, and when it is missing.
  virtual Value decodeObjectOfClass_forKey(Value::Kind kind, std::string_view key) const = 0;
};

// An object that can be archived under its class name, which is part of the stored format. Of a
// class that the library cannot restore none is archived: a user whose record holds one is kept for
// this process alone, and keychainStatus() says so. encodeWithCoder runs on the thread that sets
// the user, before anything has changed, and under no lock.
class ORX_EXPORT SecureCoding : public Object {
 public:
  virtual std::string_view archivedClassName() const = 0;
  virtual void encodeWithCoder(Coder& coder) const = 0;
};

}  // namespace orx
