#include "platform/Log.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <string>

namespace orx {

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

// While this lives, writing to a pipe that nobody reads any more does not end the process. Unlike a
// changed signal disposition it concerns the calling thread alone.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  ~BrokenPipeGuard() {
    const timespec now{};
    // A signal that waited before us is someone else's.
    while (!wasPending_ && sigtimedwait(&pipe_, nullptr, &now) == -1 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

}  // namespace

void NSLog(std::string_view line) noexcept {
  const int errnoBefore = errno;
  try {
    const std::string record = recordOf(line);
    const BrokenPipeGuard guard;
    writeToStandardError(record);
  } catch (const std::exception&) {
    // Without memory for the record it is lost; a diagnostic line must not cost its caller more.
  }
  errno = errnoBefore;
}

}  // namespace orx
