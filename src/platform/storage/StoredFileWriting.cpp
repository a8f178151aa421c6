#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <span>

#include "platform/base/Limits.h"
#include "platform/process/Signals.h"
#include "platform/storage/StoredFile.h"

namespace orx::platform {

namespace {

constexpr std::string_view temporaryPrefix = ".orx-tmp-";
constexpr std::string_view asideSuffix = ".damaged";

int writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
  // Beyond the process's file size limit a write also raises this, which would end the host.
  const SuppressedSignal suppressed(SIGXFSZ);
  while (!bytes.empty()) {
    const auto count =
        uninterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    if (count < 0) return errno;
    if (count == 0) return EIO;  // no progress, and no reason given
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return 0;
}

int synchronizeDescriptor(int descriptor) {
  return uninterrupted([&] { return fsync(descriptor); }) == 0 ? 0 : errno;
}

std::string temporaryName() {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // Early at boot; the exclusive creation tells if another writer had the same idea.
    number =
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
        (static_cast<std::uint64_t>(getpid()) << 40U);
  }
  return std::string(temporaryPrefix) + std::to_string(number);
}

}  // namespace

// The error number, or 0. Whatever the file-creation mask took away is given back.
int StoredDirectory::setPermissions(int descriptor, const FileReading& existing) const {
  mode_t mode = 0600;
  if (kind_ == Kind::Settings && existing.bytes) {
    mode = existing.mode & 0777U;
    struct stat made {};
    if (fstat(descriptor, &made) != 0) return errno;
    // Where the group cannot be passed on, its members are others to the new file.
    if (made.st_gid != existing.group &&
        fchown(descriptor, static_cast<uid_t>(-1), existing.group) != 0) {
      const mode_t others = mode & 07U;
      mode &= 0707U | others << 3U;
    }
  }
  return fchmod(descriptor, mode) == 0 ? 0 : errno;
}

FileOutcome StoredDirectory::writeTemporary(const std::string& temporary, const Data& bytes,
                                            const FileReading& existing) const {
  const auto path = pathOf(temporary);
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  FileDescriptor file(
      uninterrupted([&] { return openat(descriptor_.get(), temporary.c_str(), flags, 0600); }));
  if (!file) return systemProblem(errno, "make", path);
  if (const int number = setPermissions(file.get(), existing)) {
    return systemProblem(number, "set the permissions of", path);
  }
  if (const int number = writeAll(file.get(), bytes.bytes())) {
    return systemProblem(number, "write", path);
  }
  if (const int number = synchronizeDescriptor(file.get())) {
    return systemProblem(number, "write", path);
  }
  // What an interrupted closing leaves is closed, and the content was on the disk before.
  if (!file.close() && errno != EINTR) return systemProblem(errno, "write", path);
  return std::nullopt;
}

FileOutcome StoredDirectory::synchronizeDirectory() const {
  const int number = synchronizeDescriptor(descriptor_.get());
  // Some file systems know no synchronisation of directories: they do without.
  if (number == 0 || number == EINVAL || number == ENOTSUP) return std::nullopt;
  return systemProblem(number, "write", path_);
}

FileOutcome StoredDirectory::putInPlace(const std::string& temporary,
                                        const std::string& name) const {
  if (renameat(descriptor_.get(), temporary.c_str(), descriptor_.get(), name.c_str()) != 0) {
    return systemProblem(errno, "replace", pathOf(name));
  }
  return std::nullopt;
}

// A second name for the file rather than a move where the file system has them, so that the name is
// never without a file: a missing one would say something else than a damaged one does.
void StoredDirectory::keepAside(const std::string& name) const {
  const auto aside = name + std::string(asideSuffix);
  for (int number = 1; number < 100; ++number) {
    const auto numbered = number == 1 ? aside : aside + "-" + std::to_string(number);
    if (linkat(descriptor_.get(), name.c_str(), descriptor_.get(), numbered.c_str(), 0) == 0) {
      return;
    }
    if (errno != EEXIST) break;
  }
  renameat(descriptor_.get(), name.c_str(), descriptor_.get(), aside.c_str());
}

FileOutcome StoredDirectory::replace(const std::string& name, const Data& bytes,
                                     Previous previous) const {
  const auto path = pathOf(name);
  if (bytes.size() > limits::storedFileSize) return systemProblem(EFBIG, "write", path);
  auto existing = read(name);
  if (existing.problem && existing.problem->kind == FileProblem::Kind::Refused) {
    return existing.problem;
  }
  const bool private0600 = kind_ != Kind::Private || existing.mode == 0600;
  if (existing.bytes && private0600 && *existing.bytes == bytes) return std::nullopt;

  sweepTemporaryFiles();
  const auto temporary = temporaryName();
  auto problem = writeTemporary(temporary, bytes, existing);
  if (!problem && previous == Previous::KeepAside) keepAside(name);
  if (!problem) problem = putInPlace(temporary, name);
  if (problem) {
    unlinkat(descriptor_.get(), temporary.c_str(), 0);
    return problem;
  }
  return synchronizeDirectory();
}

FileOutcome StoredDirectory::remove(const std::string& name) const {
  if (unlinkat(descriptor_.get(), name.c_str(), 0) != 0) {
    return systemProblem(errno, "remove", pathOf(name));
  }
  return synchronizeDirectory();
}

FileOutcome StoredDirectory::synchronize(const std::string& name) const {
  constexpr int flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
  const FileDescriptor file(
      uninterrupted([&] { return openat(descriptor_.get(), name.c_str(), flags); }));
  if (!file && errno == ENOENT) return std::nullopt;
  if (!file) return systemProblem(errno, "open", pathOf(name));
  if (const int number = synchronizeDescriptor(file.get())) {
    return systemProblem(number, "write", pathOf(name));
  }
  return synchronizeDirectory();
}

FileOutcome StoredDirectory::removeWhere(
    const std::function<bool(std::string_view name)>& condition) const {
  const int descriptor = uninterrupted(
      [&] { return openat(descriptor_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  DIR* listing = descriptor < 0 ? nullptr : fdopendir(descriptor);
  if (listing == nullptr) {
    const int number = errno;
    if (descriptor >= 0) ::close(descriptor);
    return systemProblem(number, "list", path_);
  }
  FileOutcome problem;
  while (const dirent* entry = readdir(listing)) {
    if (!condition(entry->d_name)) continue;
    if (unlinkat(descriptor_.get(), entry->d_name, 0) != 0 && errno != ENOENT) {
      problem = systemProblem(errno, "remove", pathOf(entry->d_name));
    }
  }
  closedir(listing);
  return problem;
}

FileOutcome StoredDirectory::sweepTemporaryFiles() const {
  return removeWhere([](std::string_view name) { return name.starts_with(temporaryPrefix); });
}

FileOutcome StoredDirectory::removeKeptAside(const std::string& name) const {
  const auto aside = name + std::string(asideSuffix);
  return removeWhere([&](std::string_view found) {
    if (!found.starts_with(aside)) return false;
    const auto number = found.substr(aside.size());
    return number.empty() || (number.front() == '-' && number.size() > 1 &&
                              number.find_first_not_of("0123456789", 1) == std::string_view::npos);
  });
}

}  // namespace orx::platform
