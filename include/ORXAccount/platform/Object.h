// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <cstddef>
#include <memory>

namespace orx {

// The root of everything that is handled by reference: records, errors, parsers, notification
// senders. Objects are owned by std::shared_ptr and neither copied nor moved.
class ORX_EXPORT Object : public std::enable_shared_from_this<Object> {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  // True when `object` is to be treated as this one. The root compares identity; null gives false.
  virtual bool isEqual(const Object* object) const;

  // A number that stays the same for this object's life. It follows identity, also for classes
  // whose isEqual follows content.
  std::size_t hash() const;
};

}  // namespace orx
