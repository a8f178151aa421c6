// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>

#include <optional>
#include <string>
#include <string_view>

// The content of a defaults file: a property list whose root is a dictionary. Entries that are not
// asked for are carried over as they are, of whatever kind. Each throws MalformedPropertyList for
// bytes that are no such list. Keys are ASCII.
//
// What is written here bears a checksum in five bytes of the trailer that the format leaves unused
// (other readers pass over them): a flipped bit in a value is damage, not another value. A list
// without it was written by someone else and is taken as it is.
namespace orx::platform {

// The text under `key`, a number as its text; absent when there is none of these.
std::optional<std::string> stringInDefaults(const Data& content, std::string_view key);

// The content with `value` under `key`, or without `key` for an absent value. Absent when there is
// nothing to change. Absent `content` is an empty dictionary.
std::optional<Data> changedDefaults(const std::optional<Data>& content, std::string_view key,
                                    std::optional<std::string_view> value);

}  // namespace orx::platform
