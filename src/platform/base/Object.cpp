// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Object.h>

#include <functional>

namespace orx {

Object::~Object() = default;

bool Object::isEqual(const Object* object) const { return object == this; }

std::size_t Object::hash() const { return std::hash<const Object*>{}(this); }

}  // namespace orx
