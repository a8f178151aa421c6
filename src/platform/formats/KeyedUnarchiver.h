// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Value.h>

#include <string_view>

#include "platform/base/Result.h"
#include "platform/formats/ArchivedClass.h"

namespace orx::platform {

// Reads an archive that this or any other conforming archiver wrote. Whatever the bytes are, it
// gives a value or an error (NSCocoaErrorDomain, 4864), in time and memory bounded by their length.
// Throws std::bad_alloc alone, which says nothing about the bytes.
Result<Value> unarchiveObjectWithData(const Data& data);

// The names that make a property list a keyed archive. They are a format and never change.
namespace archive {

inline constexpr std::string_view kArchiver = "$archiver";
inline constexpr std::string_view kArchiverName = "NSKeyedArchiver";
inline constexpr std::string_view kVersion = "$version";
inline constexpr int kVersionNumber = 100000;
inline constexpr std::string_view kTop = "$top";
inline constexpr std::string_view kRoot = "root";
inline constexpr std::string_view kObjects = "$objects";
inline constexpr std::string_view kNull = "$null";

inline constexpr std::string_view kClass = "$class";
inline constexpr std::string_view kClassName = "$classname";
inline constexpr std::string_view kClasses = "$classes";
inline constexpr std::string_view kRootClass = "NSObject";

inline constexpr std::string_view kElements = "NS.objects";
inline constexpr std::string_view kKeys = "NS.keys";
inline constexpr std::string_view kString = "NS.string";
inline constexpr std::string_view kData = "NS.data";
inline constexpr std::string_view kTime = "NS.time";

}  // namespace archive

}  // namespace orx::platform
