// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <functional>
#include <string_view>

namespace orx {

enum class LogLevel {
  // The user is stored in a file, because no keyring takes it.
  Info,
  // A transfer failed (stage, host, cause); the service answered a ticket with data that is no XML;
  // the host's callback executor threw, or there was no memory to hand it a callback.
  Warning,
  // A stored user could not be read, stored or removed, and why.
  Error,
};

// Receives one line for people, without a line feed; control characters in it are escaped, and what
// exceeds some 4,000 bytes is left out. It never holds a password, a ticket, a key or what the
// service sent about a user. The view ends with the call. Called from any thread, several at a
// time, never while the library holds a lock; it may call the library, and should return soon. It
// must not throw (the process ends if it does).
using LogHandler = std::function<void(LogLevel level, std::string_view line)>;

// Sets the handler of the process; an empty one takes it away. Without one, as at start, the
// library writes a single line, that about data which is no XML, and that one to standard error
// with the data in it. From any thread.
ORX_EXPORT void setLogHandler(LogHandler handler);

}  // namespace orx
