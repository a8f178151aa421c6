// SPDX-License-Identifier: MIT
#include "platform/storage/StoredDirectory.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <vector>

#include "platform/base/Limits.h"
#include "platform/base/Wiping.h"
#include "platform/process/DirectoryListing.h"
#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

std::string parentOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// True when the path ends in a link without a target, as to a volume that is not mounted. "There is
// no such file" would then be a lie: the file is on that volume. A link that has a target is as
// good as a directory.
bool leadsThroughDanglingLink(std::string path) {
  struct stat entry {};
  while (!path.empty() && lstat(path.c_str(), &entry) != 0) path = parentOf(path);
  return !path.empty() && stat(path.c_str(), &entry) != 0;
}

// Without it, a crash of the machine could lose a new directory and all that is in it. Best effort:
// some file systems cannot do it.
void synchronizeParentOf(const std::string& path) {
  const auto parent = parentOf(path) + "/";
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  const FileDescriptor directory(uninterrupted([&] { return ::open(parent.c_str(), flags); }));
  if (directory) uninterrupted([&] { return fsync(directory.get()); });
}

// Undoes a umask that took the owner's own permissions from a directory that was just made.
void admitOwner(const std::string& path) {
  struct stat made {};
  if (lstat(path.c_str(), &made) == 0 && S_ISDIR(made.st_mode) && (made.st_mode & 0700U) != 0700U) {
    chmod(path.c_str(), 0700);
  }
}

// False, too, when it cannot be listed.
bool isEmpty(const std::string& path) {
  const DirectoryListing listing(opendir(path.c_str()));
  if (!listing) return false;
  errno = 0;  // the end leaves it as it is
  while (const dirent* entry = readdir(listing.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return false;
  }
  return errno == 0;
}

// A process that died between mkdir() and admitOwner() left a directory that its owner cannot
// enter. It is empty, which tells it from one that the owner shut on purpose. The parents come
// first: nothing below a directory without permissions can be looked at.
void openUpAbandoned(const std::string& path) {
  const auto parent = parentOf(path);
  if (parent.empty()) return;
  struct stat state {};
  if (lstat(path.c_str(), &state) != 0) {
    if (errno != EACCES) return;
    openUpAbandoned(parent);
    if (lstat(path.c_str(), &state) != 0) return;
  }
  const mode_t mode = state.st_mode & 07777U;
  if (!S_ISDIR(state.st_mode) || state.st_uid != geteuid() || (mode & 0700U) == 0700U) return;
  // Whether it is empty can only be seen with the permissions; they are taken back when it is not.
  if (chmod(path.c_str(), 0700) != 0) return;
  if (!isEmpty(path)) chmod(path.c_str(), mode);
}

// Makes the directory and every parent that is missing.
Result<void> makeDirectories(const std::string& path) {
  bool made = mkdir(path.c_str(), 0700) == 0;
  if (!made && errno == ENOENT) {
    const auto parent = parentOf(path);
    if (parent.empty()) return systemFailure(ENOENT, "make", path);
    if (auto parents = makeDirectories(parent); !parents) return parents;
    made = mkdir(path.c_str(), 0700) == 0;
  }
  if (!made) {
    if (errno == EEXIST) return {};  // another process was faster
    return systemFailure(errno, "make the directory", path);
  }
  admitOwner(path);
  synchronizeParentOf(path);
  return {};
}

// Says what stands in the directory's place where that tells more than the error number.
Failure cannotOpenDirectory(int number, const std::string& path) {
  struct stat entry {};
  if ((number == ENOTDIR || number == ELOOP) && lstat(path.c_str(), &entry) == 0 &&
      !S_ISDIR(entry.st_mode)) {
    const auto* reason = S_ISLNK(entry.st_mode) ? "is a link" : "is not a directory";
    return refusal(path, reason, "Put a directory of your own in the place of " + path + ".");
  }
  return systemFailure(number, "open the directory", path);
}

}  // namespace

Result<std::optional<StoredDirectory>> StoredDirectory::open(const std::string& path, Kind kind,
                                                             Missing missing) {
  // All later work goes through this one descriptor, so that nobody can exchange the directory
  // between two steps.
  const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (kind == Kind::Private ? O_NOFOLLOW : 0);
  const auto opened = [&] { return uninterrupted([&] { return ::open(path.c_str(), flags); }); };
  FileDescriptor descriptor(opened());
  if (!descriptor && errno == EACCES) {
    // Once: what is still shut then was shut on purpose.
    openUpAbandoned(path);
    descriptor = FileDescriptor(opened());
  }
  if (!descriptor && errno == ENOENT && missing == Missing::Create) {
    if (auto made = makeDirectories(path); !made) return Failure(made.error());
    descriptor = FileDescriptor(opened());
  }
  if (!descriptor) {
    const int number = errno;
    const bool absent = number == ENOENT && missing == Missing::DoNotCreate;
    if (absent && !leadsThroughDanglingLink(path)) return std::nullopt;
    return cannotOpenDirectory(number, path);
  }
  StoredDirectory directory(std::move(descriptor), path, kind);
  if (auto secured = directory.secure(); !secured) return Failure(secured.error());
  return directory;
}

// Checks the open descriptor rather than the path, which may lead elsewhere a moment later.
Result<void> StoredDirectory::secure() const {
  if (kind_ != Kind::Private) return {};
  struct stat directory {};
  if (fstat(descriptor_.get(), &directory) != 0) return systemFailure(errno, "inspect", path_);
  if (directory.st_uid != geteuid()) {
    return refusal(path_, "belongs to another user",
                   "Make the user that runs this program the owner of " + path_ + ".");
  }
  if ((directory.st_mode & 022U) != 0) {
    return refusal(path_, "can be written by others",
                   "Look through what is in it, then run: chmod 700 " + path_);
  }
  // Others could only see the files' names so far, so nothing was lost: their access is removed
  // without an error.
  if ((directory.st_mode & 055U) != 0) fchmod(descriptor_.get(), 0700);
  return {};
}

// Whether a file may be trusted. One that others could have written could hold another user's item.
Result<void> StoredDirectory::checkFile(const std::string& name, const struct stat& file) const {
  const auto path = pathOf(name);
  if (!S_ISREG(file.st_mode)) {
    return refusal(path, S_ISLNK(file.st_mode) ? "is a link" : "is not a regular file",
                   "Move " + path + " away.");
  }
  if (kind_ != Kind::Private) return {};
  if (file.st_uid != geteuid()) {
    return refusal(path, "belongs to another user", "Move " + path + " away.");
  }
  if ((file.st_mode & 022U) != 0) {
    return refusal(path, "can be written by others",
                   "If its content can be trusted, run: chmod 600 " + path);
  }
  return {};
}

// Does not follow a link, not even to a file that could be trusted.
Result<bool> StoredDirectory::exists(const std::string& name) const {
  struct stat file {};
  if (fstatat(descriptor_.get(), name.c_str(), &file, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return false;
    return systemFailure(errno, "inspect", pathOf(name));
  }
  if (auto trusted = checkFile(name, file); !trusted) return Failure(trusted.error());
  return true;
}

// O_NOFOLLOW refuses a link; O_NONBLOCK keeps the opening of a FIFO from waiting for its other end;
// O_NOCTTY keeps a terminal from becoming the process's own.
FileDescriptor StoredDirectory::openFile(const std::string& name, int flags) const {
  flags |= O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  return FileDescriptor(
      uninterrupted([&] { return openat(descriptor_.get(), name.c_str(), flags, 0600); }));
}

Result<std::optional<Data>> StoredDirectory::read(const std::string& name) const {
  const auto file = openFile(name, O_RDONLY);
  if (!file) {
    const int number = errno;
    if (number == ENOENT) return std::nullopt;
    // What stands there says more than the error number: "is a link" rather than ELOOP.
    if (auto found = exists(name); !found) return Failure(found.error());
    return systemFailure(number, "open", pathOf(name));
  }
  // Of the open file: what stands under the name may be another one by now.
  struct stat state {};
  if (fstat(file.get(), &state) != 0) return systemFailure(errno, "inspect", pathOf(name));
  if (auto trusted = checkFile(name, state); !trusted) return Failure(trusted.error());
  return readOpen(file, name);
}

// Reads until the end rather than as much as fstat() announced: some file systems announce nothing.
// The bound keeps a huge file from using up the memory.
Result<Data> StoredDirectory::readOpen(const FileDescriptor& file, const std::string& name) const {
  Wiped<std::vector<std::uint8_t>> bytes(4096);
  std::size_t length = 0;
  while (true) {
    const auto count = uninterrupted(
        [&] { return ::read(file.get(), bytes.data() + length, bytes.size() - length); });
    if (count < 0) return systemFailure(errno, "read", pathOf(name));
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
    if (length > limits::storedFileSize) {
      return refusal(pathOf(name), "is too large", "Move " + pathOf(name) + " away.");
    }
    if (length < bytes.size()) continue;
    bytes.makeRoom(length * 2);
    bytes.resize(length * 2);
  }
  bytes.resize(length);
  return Data(std::move(bytes));
}

std::string StoredDirectory::pathOf(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

}  // namespace orx::platform
