#include "platform/process/Log.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <string>

#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

// One record is one line, and text that a server sent must not control a terminal: control
// characters are written as escapes.
std::string recordOf(std::string_view line) {
  std::string record;
  record.reserve(line.size() + 1);
  for (const char character : line) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      record += "\\n";
    } else if ((byte < 0x20 && character != '\t') || byte == 0x7f) {
      constexpr std::string_view digits = "0123456789abcdef";
      record += "\\x";
      record += digits[byte >> 4U];
      record += digits[byte & 0xfU];
    } else {
      record += character;
    }
  }
  record += '\n';
  return record;
}

void writeToStandardError(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

void NSLog(std::string_view line) noexcept {
  const int errnoBefore = errno;
  try {
    const std::string record = recordOf(line);
    // SIGPIPE would end the process when nobody reads the pipe any more.
    const SuppressedSignal suppressed(SIGPIPE);
    writeToStandardError(record);
  } catch (const std::exception&) {
    // Out of memory: the record is lost. A diagnostic line must not fail its caller.
  }
  errno = errnoBefore;
}

}  // namespace orx::platform
