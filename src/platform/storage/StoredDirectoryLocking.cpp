// SPDX-License-Identifier: MIT
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>

#include "platform/process/Signals.h"
#include "platform/storage/StoredDirectory.h"

namespace orx::platform {

namespace {

using Clock = std::chrono::steady_clock;

// Tries again after a pause, at most 20 ms, until the deadline: a blocking flock() could only be
// ended by a signal, and signals are the host's. 0 when locked, EWOULDBLOCK when the time is up.
int lockUntil(const FileLock& lock, FileLock::Mode mode, Deadline deadline) {
  const int operation = LOCK_NB | (mode == FileLock::Mode::Shared ? LOCK_SH : LOCK_EX);
  auto pause = std::chrono::milliseconds(1);
  while (uninterrupted([&] { return flock(lock.descriptor(), operation); }) != 0) {
    if (errno != EWOULDBLOCK) return errno;
    const auto now = Clock::now();
    if (now >= deadline) return EWOULDBLOCK;
    std::this_thread::sleep_until(std::min(deadline, now + pause));
    pause = std::min(pause * 2, std::chrono::milliseconds(20));
  }
  return 0;
}

}  // namespace

// Empty, with errno set, when it cannot be opened.
FileDescriptor StoredDirectory::openLockFile(const std::string& name) const {
  auto file = openFile(name, O_RDWR | O_CREAT);
  const int number = errno;
  if (!file && number == EACCES && exists(name).value_or(false)) {
    // A process under a harsh umask made it and died before it could correct the permissions. The
    // file is empty, so opening it up gives nothing away.
    if (fchmodat(descriptor_.get(), name.c_str(), 0600, 0) == 0) file = openFile(name, O_RDWR);
  }
  // Where nothing can be written, a lock that is there can still be taken.
  if (!file && (number == EROFS || number == EACCES)) file = openFile(name, O_RDONLY);
  if (!file) {
    errno = number;  // why it could not be made says more than that it is not there
    return file;
  }
  // A umask may have taken permissions from a new one, and the next process could not open it.
  struct stat state {};
  if (fstat(file.get(), &state) == 0 && (state.st_mode & 0600U) != 0600U) {
    fchmod(file.get(), 0600);
  }
  return file;
}

// flock() rather than fcntl(): the latter's locks are the process's, so that they do not keep out
// its other threads, and go when any descriptor of the file is closed.
Result<FileLock> StoredDirectory::lock(const std::string& name, Deadline deadline,
                                       FileLock::Mode mode) const {
  const auto path = pathOf(name);
  while (true) {
    auto file = openLockFile(name);
    if (!file) {
      const int number = errno;
      // What stands there says more than the error number.
      if (auto found = exists(name); !found) return Failure(found.error());
      return systemFailure(number, "lock", path);
    }
    FileLock lock(std::move(file));
    struct stat state {};
    if (fstat(lock.descriptor(), &state) != 0) return systemFailure(errno, "lock", path);
    if (auto trusted = checkFile(name, state); !trusted) return Failure(trusted.error());
    const int number = lockUntil(lock, mode, deadline);
    if (number == EWOULDBLOCK) return lockedByAnother(path);
    if (number != 0) return systemFailure(number, "lock", path);
    // If somebody removed the file while this waited, others lock a new one of the same name: a
    // lock on the removed one would keep out nobody.
    if (fstat(lock.descriptor(), &state) == 0 && state.st_nlink > 0) return lock;
    if (Clock::now() >= deadline) return lockedByAnother(path);
  }
}

}  // namespace orx::platform
