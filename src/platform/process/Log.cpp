// SPDX-License-Identifier: MIT
#include "platform/process/Log.h"

#include <ORXAccount/platform/Terminal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "platform/base/Unicode.h"
#include "platform/base/Wiping.h"
#include "platform/process/ForkSafety.h"
#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

// Longer records would not be written in one piece: a pipe mixes what exceeds PIPE_BUF, and one
// answer of many megabytes would fill a log. The rest is room for the note about the cut.
constexpr std::size_t kLongestText = PIPE_BUF - 64;

// Text that a server sent must neither control a terminal nor forge a second record.
constexpr bool mustBeEscaped(char32_t character) {
  return character != '\t' && steersTerminal(character);
}

std::string escapeOf(char32_t character, const char* form) {
  std::array<char, 8> escape{};
  std::snprintf(escape.data(), escape.size(), form, static_cast<unsigned>(character));
  return escape.data();
}

// What stands in a record for the character at `position`, or for the byte there that is not UTF-8.
// Moves the position behind it.
std::string nextPiece(std::string_view line, std::size_t& position) {
  const std::size_t start = position;
  const auto character = nextCharacter(line, position);
  if (!character) return escapeOf(static_cast<unsigned char>(line[position++]), "\\x%02x");
  if (*character == '\n') return "\\n";
  if (!mustBeEscaped(*character)) return std::string(line.substr(start, position - start));
  return escapeOf(*character, *character < 0x80 ? "\\x%02x" : "\\u%04x");
}

// Wiped at its end, since what a service sends about a user may hold a ticket.
GrowingSecretText recordOf(std::string_view line) {
  GrowingSecretText record;
  for (std::size_t position = 0; position < line.size();) {
    const std::string piece = nextPiece(line, position);
    if (record.size() + piece.size() > kLongestText) {
      record.append("... (cut, ").append(std::to_string(line.size())).append(" bytes)");
      break;
    }
    record += piece;
  }
  return record;
}

// Spares the lock, and the first use of what follows, where no host has ever set a handler.
constinit std::atomic<bool> mayHaveHandler = false;

Guarded<std::shared_ptr<const LogHandler>>& handlerInForce() {
  static constinit ProcessWide<Guarded<std::shared_ptr<const LogHandler>>> handler;
  return handler.get();
}

// Foreign code starts here. What it throws ends the process.
void callHandler(const LogHandler& handler, LogLevel level, std::string_view line) noexcept {
  handler(level, line);
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
    GrowingSecretText record = recordOf(line);
    record += '\n';
    // SIGPIPE would end the process when nobody reads the pipe any more.
    const SuppressedSignal suppressed(SIGPIPE);
    writeToStandardError(record);
  } catch (const std::exception&) {
    // Out of memory: the record is lost. A diagnostic line must not fail its caller.
  }
  errno = errnoBefore;
}

bool hasLogHandler() noexcept { return mayHaveHandler && handlerInForce().get(); }

void tellLogHandler(LogLevel level, std::string_view line) noexcept {
  const int errnoBefore = errno;
  const auto handler = mayHaveHandler ? handlerInForce().get() : nullptr;
  try {
    if (handler) callHandler(*handler, level, recordOf(line));
  } catch (const std::bad_alloc&) {
    // The line is lost.
  }
  errno = errnoBefore;
}

}  // namespace orx::platform

void orx::setLogHandler(LogHandler handler) {
  using namespace platform;
  handlerInForce().set(handler ? std::make_shared<const LogHandler>(std::move(handler)) : nullptr);
  mayHaveHandler = true;
}
