#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Value.h>

#include <string_view>

// Keyed archives in the platform's binary property-list form.
namespace orx::platform {

// Archives a value of any kind; what it gives can be read back. An object must be SecureCoding and
// of a class that canUnarchiveClass(). Throws std::invalid_argument for other objects, for text
// that is not UTF-8, for an object that contains itself, and for more objects, deeper nesting or
// more references to the same containers than can be read back. What encodeWithCoder throws comes
// through.
Data archivedDataWithRootObject(const Value& root);

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
