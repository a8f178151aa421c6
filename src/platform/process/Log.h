// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/LogHandler.h>

#include <string_view>

namespace orx::platform {

// Writes one diagnostic line to standard error, in one write, so that lines of several threads do
// not mix. `line` needs no line feed. Control characters and bytes that are not UTF-8 are escaped;
// of a line beyond some 4,000 bytes the rest is left out. From any thread; never fails, and keeps
// errno.
void NSLog(std::string_view line) noexcept;

// Whether the host has set a log handler. What the library has to say beside its one line is said
// to that one alone.
bool hasLogHandler() noexcept;
// Hands the line to that handler, written out as above. Not with a lock held; never fails, and
// keeps errno.
void tellLogHandler(LogLevel level, std::string_view line) noexcept;

}  // namespace orx::platform
