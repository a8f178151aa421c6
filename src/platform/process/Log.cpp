#include "platform/process/Log.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <string>

#include "platform/process/HeldSignal.h"

namespace orx::platform {

namespace {

// One record is one line, and text from elsewhere must not steer a terminal: control characters are
// written out.
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
    // Writing to a pipe that nobody reads any more would end the process.
    const HeldSignal held(SIGPIPE);
    writeToStandardError(record);
  } catch (const std::exception&) {
    // Without memory for the record it is lost; a diagnostic line must not cost its caller more.
  }
  errno = errnoBefore;
}

}  // namespace orx::platform
