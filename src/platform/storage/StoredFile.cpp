#include "platform/storage/StoredFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

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

// A path that does not resolve may still stand for something: a link to a volume that is not
// mounted, say. Then "there is no such file" would be a lie.
bool aLinkLeadsNowhere(std::string path) {
  while (!path.empty()) {
    struct stat entry {};
    if (lstat(path.c_str(), &entry) == 0) return S_ISLNK(entry.st_mode);
    path.resize(path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/'));
  }
  return false;
}

void synchronizeParentOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  const FileDescriptor directory(uninterrupted([&] { return ::open(parent.c_str(), flags); }));
  if (directory) uninterrupted([&] { return fsync(directory.get()); });
}

// A file-creation mask can leave a new directory that its own owner may not enter.
void admitOwner(const std::string& path) {
  struct stat made {};
  if (lstat(path.c_str(), &made) == 0 && S_ISDIR(made.st_mode) && (made.st_mode & 0700U) != 0700U) {
    chmod(path.c_str(), 0700);
  }
}

// A process that made a directory under such a mask may not have lived to admit its owner. What it
// left is told from a directory that its owner shut on purpose by being empty. The outermost first:
// nothing below a shut one can be seen.
void openUpAbandoned(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return;
  struct stat state {};
  if (lstat(path.c_str(), &state) != 0) {
    if (errno != EACCES) return;
    openUpAbandoned(path.substr(0, slash));
    if (lstat(path.c_str(), &state) != 0) return;
  }
  const mode_t mode = state.st_mode & 07777U;
  if (!S_ISDIR(state.st_mode) || state.st_uid != geteuid() || (mode & 0700U) == 0700U) return;
  if (chmod(path.c_str(), 0700) != 0) return;
  std::error_code unreadable;
  if (!std::filesystem::is_empty(path, unreadable)) chmod(path.c_str(), mode);
}

FileOutcome makeDirectories(const std::string& path) {
  bool made = mkdir(path.c_str(), 0700) == 0;
  if (!made && errno == ENOENT) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) return systemProblem(ENOENT, "make", path);
    if (auto problem = makeDirectories(path.substr(0, slash))) return problem;
    made = mkdir(path.c_str(), 0700) == 0;
  }
  if (!made) {
    if (errno == EEXIST) return std::nullopt;
    return systemProblem(errno, "make the directory", path);
  }
  admitOwner(path);
  synchronizeParentOf(path);
  return std::nullopt;
}

FileProblem cannotOpenDirectory(int number, const std::string& path) {
  struct stat entry {};
  if ((number == ENOTDIR || number == ELOOP) && lstat(path.c_str(), &entry) == 0 &&
      !S_ISDIR(entry.st_mode)) {
    const auto* reason = S_ISLNK(entry.st_mode) ? "is a link" : "is not a directory";
    return refusal(path, reason, "Put a directory of your own in the place of " + path + ".");
  }
  return systemProblem(number, "open the directory", path);
}

FileReading readWhole(int descriptor, std::size_t expected, const std::string& path) {
  std::vector<std::uint8_t> bytes(expected + 1);
  std::size_t length = 0;
  while (true) {
    const auto count = uninterrupted(
        [&] { return ::read(descriptor, bytes.data() + length, bytes.size() - length); });
    if (count < 0) return {.bytes = {}, .problem = systemProblem(errno, "read", path)};
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
    if (length > limits::storedFileSize) {
      return {.bytes = {}, .problem = refusal(path, "is too large", "Move " + path + " away.")};
    }
    if (length == bytes.size()) bytes.resize(bytes.size() * 2);
  }
  bytes.resize(length);
  return {.bytes = Data(std::move(bytes)), .problem = {}};
}

}  // namespace

FileProblem systemProblem(int number, std::string_view doing, std::string path) {
  FileProblem problem{.kind = FileProblem::Kind::System,
                      .number = number,
                      .path = std::move(path),
                      .text = {},
                      .remedy = {}};
  problem.text = "Cannot " + std::string(doing) + " " + problem.path + ": " +
                 std::generic_category().message(number) + ".";
  problem.remedy = remedyFor(number, problem.path);
  return problem;
}

FileProblem homelessness(std::string_view variable) {
  auto problem = systemProblem(ENOENT, "find", "the user's home directory");
  problem.path.clear();
  problem.remedy = "Set HOME or " + std::string(variable) + " to an absolute path.";
  return problem;
}

FileProblem refusal(std::string path, std::string_view reason, std::string remedy) {
  FileProblem problem{.kind = FileProblem::Kind::Refused,
                      .number = 0,
                      .path = std::move(path),
                      .text = {},
                      .remedy = std::move(remedy)};
  problem.text = problem.path + " is not used because it " + std::string(reason) + ".";
  return problem;
}

StoredDirectory::Opening StoredDirectory::open(const std::string& path, Kind kind,
                                               Missing missing) {
  const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (kind == Kind::Private ? O_NOFOLLOW : 0);
  const auto opened = [&] { return uninterrupted([&] { return ::open(path.c_str(), flags); }); };
  FileDescriptor descriptor(opened());
  if (!descriptor && errno == EACCES) {
    openUpAbandoned(path);
    descriptor = FileDescriptor(opened());
  }
  if (!descriptor && errno == ENOENT && missing == Missing::Create) {
    if (auto problem = makeDirectories(path)) return {.directory = {}, .problem = problem};
    descriptor = FileDescriptor(opened());
  }
  if (!descriptor) {
    const int number = errno;
    if (number == ENOENT && missing == Missing::Leave && !aLinkLeadsNowhere(path)) return {};
    return {.directory = {}, .problem = cannotOpenDirectory(number, path)};
  }
  StoredDirectory directory(std::move(descriptor), path, kind);
  if (auto problem = directory.secure()) return {.directory = {}, .problem = problem};
  return {.directory = std::move(directory), .problem = {}};
}

FileOutcome StoredDirectory::secure() const {
  if (kind_ != Kind::Private) return std::nullopt;
  struct stat directory {};
  if (fstat(descriptor_.get(), &directory) != 0) return systemProblem(errno, "inspect", path_);
  if (directory.st_uid != geteuid()) {
    return refusal(path_, "belongs to another user",
                   "Make the user that runs this program the owner of " + path_ + ".");
  }
  if ((directory.st_mode & 022U) != 0) {
    return refusal(path_, "can be written by others",
                   "Look through what is in it, then run: chmod 700 " + path_);
  }
  // Others may only look at names here; that is taken back without a fuss.
  if ((directory.st_mode & 055U) != 0) fchmod(descriptor_.get(), 0700);
  return std::nullopt;
}

FileOutcome StoredDirectory::checkFile(const std::string& name, const struct stat& file) const {
  const auto path = pathOf(name);
  if (!S_ISREG(file.st_mode)) {
    return refusal(path, S_ISLNK(file.st_mode) ? "is a link" : "is not a regular file",
                   "Move " + path + " away.");
  }
  if (kind_ != Kind::Private) return std::nullopt;
  if (file.st_uid != geteuid()) {
    return refusal(path, "belongs to another user", "Move " + path + " away.");
  }
  if ((file.st_mode & 022U) != 0) {
    return refusal(path, "can be written by others",
                   "If its content can be trusted, run: chmod 600 " + path);
  }
  return std::nullopt;
}

StoredDirectory::Presence StoredDirectory::presenceOf(const std::string& name) const {
  struct stat file {};
  if (fstatat(descriptor_.get(), name.c_str(), &file, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return {};
    return {.present = false, .problem = systemProblem(errno, "inspect", pathOf(name))};
  }
  return {.present = true, .problem = checkFile(name, file)};
}

FileReading StoredDirectory::read(const std::string& name) const {
  // Not blocking: the opening of a FIFO would wait for a writer.
  constexpr int flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const FileDescriptor descriptor(
      uninterrupted([&] { return openat(descriptor_.get(), name.c_str(), flags); }));
  if (!descriptor) {
    const int number = errno;
    if (number == ENOENT) return {};
    if (auto presence = presenceOf(name); presence.problem) {
      return {.bytes = {}, .problem = std::move(presence.problem)};
    }
    return {.bytes = {}, .problem = systemProblem(number, "open", pathOf(name))};
  }
  struct stat file {};
  if (fstat(descriptor.get(), &file) != 0) {
    return {.bytes = {}, .problem = systemProblem(errno, "inspect", pathOf(name))};
  }
  if (auto problem = checkFile(name, file)) return {.bytes = {}, .problem = std::move(problem)};
  const auto size = static_cast<std::size_t>(file.st_size);
  auto reading = readWhole(descriptor.get(), std::min(size, limits::storedFileSize), pathOf(name));
  reading.mode = file.st_mode & 07777U;
  reading.group = file.st_gid;
  return reading;
}

std::string StoredDirectory::pathOf(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

}  // namespace orx::platform
