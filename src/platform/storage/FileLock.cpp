#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>

#include "platform/process/Signals.h"
#include "platform/storage/StoredFile.h"

namespace orx::platform {

namespace {

using Clock = std::chrono::steady_clock;

// Waits by asking again and again: a lock call that blocks could only be ended by a signal, and
// signals are the host's. 0 when locked, EWOULDBLOCK when the time is up.
int lockUntil(int descriptor, Deadline deadline) {
  auto pause = std::chrono::milliseconds(1);
  while (uninterrupted([&] { return flock(descriptor, LOCK_EX | LOCK_NB); }) != 0) {
    if (errno != EWOULDBLOCK) return errno;
    const auto now = Clock::now();
    if (now >= deadline) return EWOULDBLOCK;
    std::this_thread::sleep_until(std::min(deadline, now + pause));
    pause = std::min(pause * 2, std::chrono::milliseconds(20));
  }
  return 0;
}

}  // namespace

FileProblem lockedByAnother(const std::string& path) {
  return {.kind = FileProblem::Kind::LockedByAnother,
          .number = 0,
          .path = path,
          .text = path + " is locked by another process.",
          .remedy = "End or resume the process that holds it (see: fuser " + path + ")."};
}

// Unlocked by name, not only closed: a child that was forked meanwhile shares the lock and would
// keep it.
FileLock::~FileLock() {
  if (descriptor_) uninterrupted([&] { return flock(descriptor_.get(), LOCK_UN); });
}

FileDescriptor StoredDirectory::openLockFile(const std::string& name) const {
  const int flags = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  FileDescriptor file(uninterrupted(
      [&] { return openat(descriptor_.get(), name.c_str(), O_RDWR | O_CREAT | flags, 0600); }));
  const int number = errno;
  const auto again = [&](int access) {
    file = FileDescriptor(
        uninterrupted([&] { return openat(descriptor_.get(), name.c_str(), access | flags); }));
  };
  const auto isOurs = [&] {
    const auto presence = presenceOf(name);
    return presence.present && !presence.problem;
  };
  if (!file && number == EACCES && isOurs()) {
    // Made under a file-creation mask that shut out its own owner, by a process that did not live
    // to correct it. The file is empty: opening it up gives nothing away.
    fchmodat(descriptor_.get(), name.c_str(), 0600, 0);
    again(O_RDWR);
  }
  if (!file && (number == EROFS || number == EACCES)) again(O_RDONLY);
  if (!file) {
    errno = number;  // why it could not be made says more than that it is not there
    return file;
  }
  struct stat state {};
  if (fstat(file.get(), &state) == 0 && (state.st_mode & 0600U) != 0600U) {
    fchmod(file.get(), 0600);
  }
  return file;
}

FileLock::Taking StoredDirectory::lock(const std::string& name, Deadline deadline) const {
  const auto path = pathOf(name);
  while (true) {
    auto file = openLockFile(name);
    if (!file) {
      const int number = errno;
      if (auto presence = presenceOf(name); presence.problem) {
        return {.lock = {}, .problem = std::move(presence.problem)};
      }
      return {.lock = {}, .problem = systemProblem(number, "lock", path)};
    }
    struct stat state {};
    if (fstat(file.get(), &state) != 0) {
      return {.lock = {}, .problem = systemProblem(errno, "lock", path)};
    }
    if (auto problem = checkFile(name, state)) return {.lock = {}, .problem = std::move(problem)};
    if (const int number = lockUntil(file.get(), deadline)) {
      if (number == EWOULDBLOCK) return {.lock = {}, .problem = lockedByAnother(path)};
      return {.lock = {}, .problem = systemProblem(number, "lock", path)};
    }
    // Someone cleared the directory while we waited: others would lock the new file.
    const bool stillThere = fstat(file.get(), &state) == 0 && state.st_nlink > 0;
    if (stillThere) return {.lock = FileLock(std::move(file)), .problem = {}};
    if (Clock::now() >= deadline) return {.lock = {}, .problem = lockedByAnother(path)};
  }
}

}  // namespace orx::platform
