// SPDX-License-Identifier: MIT
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <span>

#include "platform/base/Limits.h"
#include "platform/process/DirectoryListing.h"
#include "platform/process/Signals.h"
#include "platform/storage/StoredDirectory.h"

namespace orx::platform {

namespace {

constexpr std::string_view temporaryPrefix = ".orx-tmp-";
constexpr std::string_view quarantineSuffix = ".damaged";

// These two return the error number, or 0.
int synchronizeDescriptor(int descriptor) {
  return uninterrupted([&] { return fsync(descriptor); }) == 0 ? 0 : errno;
}

// Without the synchronising, a crash of the machine after the renaming could leave the new name
// with nothing under it.
int writeAndSynchronize(int descriptor, std::span<const std::uint8_t> bytes) {
  // A write beyond the process's file size limit raises SIGXFSZ, which would end the host.
  // Suppressed, the write fails with EFBIG.
  const SuppressedSignal suppressed(SIGXFSZ);
  while (!bytes.empty()) {
    const auto count =
        uninterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    if (count < 0) return errno;
    if (count == 0) return EIO;  // no progress, and no reason given
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return synchronizeDescriptor(descriptor);
}

// Unique by the lock of the file that it will replace: its holder has swept what others left.
std::string temporaryNameOf(const std::string& name) { return std::string(temporaryPrefix) + name; }

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

// Gives a new file 0600 whatever the umask, or what the file that it replaces (null: none) had.
// Returns the error number, or 0.
int StoredDirectory::setPermissions(int descriptor, const struct stat* existing) const {
  mode_t mode = 0600;
  if (kind_ == Kind::Settings && existing != nullptr) {
    mode = existing->st_mode & 0777U;
    struct stat made {};
    if (fstat(descriptor, &made) != 0) return errno;
    // Where the group cannot be passed on, the new file's group gets what others had: its members
    // were others to the old file.
    if (made.st_gid != existing->st_gid &&
        fchown(descriptor, static_cast<uid_t>(-1), existing->st_gid) != 0) {
      const mode_t others = mode & 07U;
      mode &= 0707U | others << 3U;
    }
  }
  return fchmod(descriptor, mode) == 0 ? 0 : errno;
}

Result<void> StoredDirectory::writeTemporary(const std::string& temporary, const Data& bytes,
                                             const struct stat* existing) const {
  const auto path = pathOf(temporary);
  auto file = openFile(temporary, O_WRONLY | O_CREAT | O_EXCL);
  if (!file) return systemFailure(errno, "make", path);
  if (const int number = setPermissions(file.get(), existing)) {
    return systemFailure(number, "set the permissions of", path);
  }
  if (const int number = writeAndSynchronize(file.get(), bytes.bytes())) {
    return systemFailure(number, "write", path);
  }
  // A close() that is interrupted has closed the file all the same, and its content is on the disk.
  if (!file.close() && errno != EINTR) return systemFailure(errno, "write", path);
  return {};
}

Result<void> StoredDirectory::synchronizeDirectory() const {
  const int number = synchronizeDescriptor(descriptor_.get());
  // Some file systems cannot synchronise a directory; nothing more can be done there.
  if (number == 0 || number == EINVAL || number == ENOTSUP) return {};
  return systemFailure(number, "write", path_);
}

// Hard-links the file under another name and leaves the name itself to be overwritten: if the file
// was moved, a crash before the overwriting would make it look absent instead of damaged. Best
// effort: the content is of no use to the library.
void StoredDirectory::quarantine(const std::string& name) const {
  const auto aside = name + std::string(quarantineSuffix);
  for (int number = 1; number < 100; ++number) {
    const auto numbered = number == 1 ? aside : aside + "-" + std::to_string(number);
    if (linkat(descriptor_.get(), name.c_str(), descriptor_.get(), numbered.c_str(), 0) == 0) {
      return;
    }
    if (errno != EEXIST) break;
  }
  // Here the file system has no hard links, or a hundred versions are kept already.
  renameat(descriptor_.get(), name.c_str(), descriptor_.get(), aside.c_str());
}

Result<void> StoredDirectory::replace(const std::string& name, const Data& bytes,
                                      Previous previous) const {
  // Larger than this it could not be read back.
  if (bytes.size() > limits::storedFileSize) return systemFailure(EFBIG, "write", pathOf(name));
  const auto existing = read(name);
  // A file that cannot be read is replaced all the same; one that may not be trusted stays.
  if (!existing && isRefusal(*existing.error())) return Failure(existing.error());
  struct stat state {};
  const bool exists = fstatat(descriptor_.get(), name.c_str(), &state, AT_SYMLINK_NOFOLLOW) == 0;
  // A private file that others may read is written again with its own permissions.
  const bool modeIsRight = kind_ != Kind::Private || (state.st_mode & 07777U) == 0600U;
  if (exists && modeIsRight && existing && *existing == bytes) return {};

  // One that a dead writer left under this name would make the new one fail with EEXIST.
  sweepTemporaryFiles(name);
  const auto temporary = temporaryNameOf(name);
  auto done = writeTemporary(temporary, bytes, exists ? &state : nullptr);
  if (done && previous == Previous::Quarantine) quarantine(name);
  if (done &&
      renameat(descriptor_.get(), temporary.c_str(), descriptor_.get(), name.c_str()) != 0) {
    done = systemFailure(errno, "replace", pathOf(name));
  }
  if (done) return synchronizeDirectory();
  // Otherwise the bytes, which may be secret, would stay until the next change.
  unlinkat(descriptor_.get(), temporary.c_str(), 0);
  return done;
}

Result<void> StoredDirectory::remove(const std::string& name) const {
  if (unlinkat(descriptor_.get(), name.c_str(), 0) == 0) return synchronizeDirectory();
  if (errno == ENOENT) return {};
  return systemFailure(errno, "remove", pathOf(name));
}

// The directory as well: the file may have got its name by a replace() of another process that died
// before its last step.
Result<void> StoredDirectory::synchronize(const std::string& name) const {
  const auto file = openFile(name, O_RDONLY);
  if (!file && errno == ENOENT) return {};
  if (!file) return systemFailure(errno, "open", pathOf(name));
  if (const int number = synchronizeDescriptor(file.get())) {
    return systemFailure(number, "write", pathOf(name));
  }
  return synchronizeDirectory();
}

// Goes on after an error, so that one file that cannot be removed keeps no other; the last error is
// told. Not synchronised: what comes back after a crash is removed by the next call.
Result<void> StoredDirectory::removeWhere(
    const std::function<bool(std::string_view name)>& condition) const {
  // A descriptor of its own, because the listing takes it over and moves its position.
  FileDescriptor own = openFile(".", O_RDONLY | O_DIRECTORY);
  const DirectoryListing listing(own ? fdopendir(own.get()) : nullptr);
  if (!listing) return systemFailure(errno, "list", path_);
  own.release();  // closedir() closes it
  Result<void> done;
  while (const dirent* entry = readdir(listing.get())) {
    if (!condition(entry->d_name)) continue;
    // Quarantined files may be removed by hand at the same time.
    if (unlinkat(descriptor_.get(), entry->d_name, 0) != 0 && errno != ENOENT) {
      done = systemFailure(errno, "remove", pathOf(entry->d_name));
    }
  }
  return done;
}

// An earlier version named them by its process and held a lock that keeps out everybody, so that
// none of its writers lives while this runs.
Result<void> StoredDirectory::sweepTemporaryFiles(const std::string& name) const {
  return removeWhere([temporary = temporaryNameOf(name)](std::string_view found) {
    return found == temporary ||
           (found.starts_with(temporaryPrefix) && isNumber(found.substr(temporaryPrefix.size())));
  });
}

Result<void> StoredDirectory::removeQuarantined(const std::string& name) const {
  const auto aside = name + std::string(quarantineSuffix);
  return removeWhere([&](std::string_view found) {
    if (!found.starts_with(aside)) return false;
    // Nothing, or a number: an item of a longer name may begin alike and is somebody else's.
    const auto number = found.substr(aside.size());
    return number.empty() || (number.front() == '-' && isNumber(number.substr(1)));
  });
}

}  // namespace orx::platform
