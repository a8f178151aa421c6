#pragma once

#include <string_view>

// The names that make a property list a keyed archive. They are a format and never change.
namespace orx::archive {

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

}  // namespace orx::archive
