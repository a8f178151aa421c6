// SPDX-License-Identifier: MIT
#include "platform/storage/FileErrors.h"

#include <errno.h>

#include <system_error>

namespace orx::platform {

namespace {

// Codes of NSCocoaErrorDomain.
constexpr std::int64_t NSFileLockingError = 255;
constexpr std::int64_t NSFileReadNoPermissionError = 257;
constexpr std::int64_t NSFileReadNoSuchFileError = 260;

bool hasCode(const Error& error, std::int64_t code) {
  return error.domain() == NSCocoaErrorDomain && error.code() == code;
}

std::string remedyFor(int number, const std::string& path) {
  switch (number) {
    case EACCES:
    case EPERM:
      return "Give the user that runs this program read and write permission for " + path + ".";
    case EROFS:
      return "Make the file system of " + path + " writable.";
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return "Make room for files at " + path + " (free space, quota, file size limit).";
    case EINTR:
      return "Try again.";
    case EMFILE:
    case ENFILE:
      return "Let this program open more files.";
    default:
      return "Check the file system of " + path + ".";
  }
}

std::string cannot(std::string_view doing, const std::string& what, int number) {
  return "Cannot " + std::string(doing) + " " + what + ": " +
         std::generic_category().message(number) + ".";
}

}  // namespace

Failure systemFailure(int number, std::string_view doing, const std::string& path) {
  return makeFailure(NSPOSIXErrorDomain, number, cannot(doing, path, number), path,
                     remedyFor(number, path));
}

Failure refusal(const std::string& path, std::string_view reason, std::string remedy) {
  return makeFailure(NSCocoaErrorDomain, NSFileReadNoPermissionError,
                     path + " is not used because it " + std::string(reason) + ".", path,
                     std::move(remedy));
}

Failure lockedByAnother(const std::string& path) {
  return makeFailure(NSCocoaErrorDomain, NSFileLockingError,
                     path + " is locked by another process.", path,
                     "End or resume the process that holds it (see: fuser " + path + ").");
}

Failure homeNotFound(std::string_view variable) {
  return makeFailure(NSCocoaErrorDomain, NSFileReadNoSuchFileError,
                     cannot("find", "the user's home directory", ENOENT), {},
                     "Set HOME or " + std::string(variable) + " to an absolute path.");
}

bool isRefusal(const Error& error) { return hasCode(error, NSFileReadNoPermissionError); }
bool isLockedByAnother(const Error& error) { return hasCode(error, NSFileLockingError); }

bool isNotWritable(const Error& error) {
  const auto code = error.code();
  return error.domain() == NSPOSIXErrorDomain && (code == EROFS || code == EACCES || code == EPERM);
}

}  // namespace orx::platform
