#pragma once

#include <ORXAccount/platform/Data.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/storage/FileDescriptor.h"

struct stat;

// Small files that are read whole, replaced whole and guarded against other processes. Whatever the
// disk does becomes a FileProblem; nothing here throws for it or blocks without an end.
namespace orx::platform {

// When a bounded wait ends.
using Deadline = std::chrono::steady_clock::time_point;

struct FileProblem {
  enum class Kind {
    System,           // a system call failed with `number`
    Refused,          // what stands there is not what may be trusted
    LockedByAnother,  // the wait for another process's lock ran out
  };
  Kind kind = Kind::System;
  int number = 0;      // errno of a System problem
  std::string path;    // what it is about
  std::string text;    // one sentence for people that names the path
  std::string remedy;  // one sentence for people that says what to do; may be empty
};

// Nothing when the operation was done.
using FileOutcome = std::optional<FileProblem>;

// Neither is set when there is no such file.
struct FileReading {
  std::optional<Data> bytes;
  std::optional<FileProblem> problem;
  mode_t mode = 0;  // of the file that was read
  gid_t group = 0;  // and its group
};

// An exclusive lock that other processes and other threads respect, held until this object goes or
// the process dies.
class FileLock {
 public:
  explicit FileLock(FileDescriptor descriptor) noexcept : descriptor_(std::move(descriptor)) {}
  FileLock(FileLock&&) noexcept = default;
  FileLock& operator=(FileLock&&) = delete;
  ~FileLock();

  // One of the two is set.
  struct Taking;

 private:
  FileDescriptor descriptor_;
};

struct FileLock::Taking {
  std::optional<FileLock> lock;
  std::optional<FileProblem> problem;
};

// One directory that holds stored files. `name` is one path component. Links, FIFOs, devices and
// directories in a file's place are refused, never followed or opened for their effect.
class StoredDirectory {
 public:
  enum class Kind {
    // Holds secrets: refused when it is a link, another user's, or writable by others; its files
    // likewise. 0700 with files of 0600, whatever the umask.
    Private,
    // Holds settings: may be reached through links and shared as its owner likes. A file begins
    // as 0600; one that is replaced passes its permissions and its group on.
    Settings,
  };
  enum class Missing { Leave, Create };
  // What replace() does with the file that is there.
  enum class Previous { Discard, KeepAside };

  // Neither is set when there is no such directory and it was not to be made.
  struct Opening;
  static Opening open(const std::string& path, Kind kind, Missing missing);

  // Waits at most until `deadline`.
  FileLock::Taking lock(const std::string& name, Deadline deadline) const;

  FileReading read(const std::string& name) const;
  // Whether there is such a file, without reading it; a problem when it may not be trusted.
  struct Presence {
    bool present = false;
    std::optional<FileProblem> problem;
  };
  Presence presenceOf(const std::string& name) const;

  // Afterwards the file holds `bytes` and survives a crash of the machine, or a problem says why
  // not and it holds what it held (or, where only the last step failed, either). At no moment does
  // it hold anything else. Equal bytes touch nothing. Called under the directory's lock.
  FileOutcome replace(const std::string& name, const Data& bytes,
                      Previous previous = Previous::Discard) const;
  // Removes the file, which is known to be there. Called under the directory's lock.
  FileOutcome remove(const std::string& name) const;
  // Makes sure that the file's present content survives a crash of the machine. A missing file is
  // no problem.
  FileOutcome synchronize(const std::string& name) const;
  // Removes what writers that died left behind. Called under the directory's lock.
  FileOutcome sweepTemporaryFiles() const;
  // Removes what replace() kept aside of this file. Called under the directory's lock.
  FileOutcome removeKeptAside(const std::string& name) const;

  std::string pathOf(std::string_view name) const;

 private:
  StoredDirectory(FileDescriptor descriptor, std::string path, Kind kind)
      : descriptor_(std::move(descriptor)), path_(std::move(path)), kind_(kind) {}

  FileOutcome secure() const;
  FileOutcome checkFile(const std::string& name, const struct stat& file) const;
  FileOutcome writeTemporary(const std::string& temporary, const Data& bytes,
                             const FileReading& existing) const;
  int setPermissions(int descriptor, const FileReading& existing) const;
  FileOutcome putInPlace(const std::string& temporary, const std::string& name) const;
  void keepAside(const std::string& name) const;
  FileOutcome removeWhere(const std::function<bool(std::string_view name)>& condition) const;
  FileOutcome synchronizeDirectory() const;
  FileDescriptor openLockFile(const std::string& name) const;

  FileDescriptor descriptor_;
  std::string path_;
  Kind kind_;
};

struct StoredDirectory::Opening {
  std::optional<StoredDirectory> directory;
  std::optional<FileProblem> problem;
};

// The problem of a system call that just set errno to `number`; `doing` as in "Cannot <doing>
// path".
FileProblem systemProblem(int number, std::string_view doing, std::string path);
FileProblem lockedByAnother(const std::string& path);
// Nobody says where the user's files live; `variable` would.
FileProblem homelessness(std::string_view variable);
FileProblem refusal(std::string path, std::string_view reason, std::string remedy);

}  // namespace orx::platform
