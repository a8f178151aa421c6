#pragma once

#include <ORXAccount/platform/Coder.h>
#include <ORXAccount/platform/Value.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace orx::platform {

// Makes an object from the fields that were archived.
using ArchiveFactory = std::function<std::shared_ptr<Object>(const Coder&)>;

// Finds the factory of a class that the format itself does not know; null for an unknown class.
using ArchiveFactoryLookup = ArchiveFactory (*)(std::string_view className);

// The root object of a keyed archive. Throws MalformedPropertyList for bytes that are no keyed
// archive, and what a factory throws.
Value readArchive(std::span<const std::uint8_t> bytes, ArchiveFactoryLookup factoryForClassName);

}  // namespace orx::platform
