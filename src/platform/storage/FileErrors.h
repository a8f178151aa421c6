// SPDX-License-Identifier: MIT
#pragma once

#include "platform/base/Result.h"

// Why something could not be done with a file. Each failure names the path in a sentence for people
// and carries it, and says in another what to do about it.
namespace orx::platform {

// The system call that just set errno to `number`; `doing` as in "Cannot <doing> <path>". It
// belongs to NSPOSIXErrorDomain, the failures below to NSCocoaErrorDomain.
Failure systemFailure(int number, std::string_view doing, const std::string& path);
// What stands at the path may not be trusted; `reason` as in "... because it <reason>".
Failure refusal(const std::string& path, std::string_view reason, std::string remedy);
// The wait for another process's lock ran out.
Failure lockedByAnother(const std::string& path);
// Nobody says where the user's files live; the environment variable would. The one without a path.
Failure homeNotFound(std::string_view variable);

bool isRefusal(const Error& error);
bool isLockedByAnother(const Error& error);
// Nothing can be written at the path: no permission, or a read-only file system.
bool isNotWritable(const Error& error);

}  // namespace orx::platform
