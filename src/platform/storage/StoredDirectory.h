// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Deadline.h"
#include "platform/storage/FileErrors.h"
#include "platform/storage/FileLock.h"

struct stat;

namespace orx::platform {

// One directory of small files that are read whole, replaced whole and guarded against other
// processes. A `name` is one path component. Links, FIFOs, devices and directories in a file's
// place are refused, never followed or opened for their effect. Whatever the disk does becomes an
// error; nothing here throws for it or blocks without an end.
class StoredDirectory {
 public:
  enum class Kind {
    // Holds secrets: refused when it is a link, another user's, or writable by others; its files
    // likewise. 0700 with files of 0600, whatever the umask.
    Private,
    // Holds settings: may be reached through links and shared as its owner likes. A new file is
    // 0600; one that is replaced passes its permissions and its group on.
    Settings,
  };
  enum class Missing { DoNotCreate, Create };
  // What replace() does with the file that is there: remove it, or give it a second name next to
  // the new one.
  enum class Previous { Discard, Quarantine };

  // Absent when there is no such directory and it was not to be created.
  static Result<std::optional<StoredDirectory>> open(const std::string& path, Kind kind,
                                                     Missing missing);

  // Waits at most until `deadline`. The lock's file is made where there is none, and stays.
  Result<FileLock> lock(const std::string& name, Deadline deadline,
                        FileLock::Mode mode = FileLock::Mode::Exclusive) const;

  // Absent when there is no such file.
  Result<std::optional<Data>> read(const std::string& name) const;
  // Whether there is such a file, without reading it; an error when it may not be trusted.
  Result<bool> exists(const std::string& name) const;

  // Afterwards the file holds `bytes` and survives a crash of the machine, or an error says why not
  // and it holds what it held (or, where only the last step failed, either). At no moment does it
  // hold anything else. Equal bytes touch nothing. Called under a lock that keeps out whoever else
  // changes this file.
  Result<void> replace(const std::string& name, const Data& bytes,
                       Previous previous = Previous::Discard) const;
  // Removes the file; afterwards the removal survives a crash of the machine. A missing file is no
  // error. Called under the same lock.
  Result<void> remove(const std::string& name) const;
  // Makes sure that the file's present content survives a crash of the machine. A missing file is
  // no error.
  Result<void> synchronize(const std::string& name) const;
  // Removes what writers of this file that died left behind. Called under the same lock.
  Result<void> sweepTemporaryFiles(const std::string& name) const;
  // Removes every quarantined version of this file. Called under the same lock.
  Result<void> removeQuarantined(const std::string& name) const;

  std::string pathOf(std::string_view name) const;

 private:
  StoredDirectory(FileDescriptor descriptor, std::string path, Kind kind)
      : descriptor_(std::move(descriptor)), path_(std::move(path)), kind_(kind) {}

  // Refuses a directory that secrets may not be kept in, or shuts others out of it.
  Result<void> secure() const;
  Result<void> checkFile(const std::string& name, const struct stat& file) const;
  Result<Data> readOpen(const FileDescriptor& file, const std::string& name) const;
  Result<void> writeTemporary(const std::string& temporary, const Data& bytes,
                              const struct stat* existing) const;
  int setPermissions(int descriptor, const struct stat* existing) const;
  void quarantine(const std::string& name) const;
  Result<void> removeWhere(const std::function<bool(std::string_view name)>& condition) const;
  Result<void> synchronizeDirectory() const;
  FileDescriptor openFile(const std::string& name, int flags) const;
  FileDescriptor openLockFile(const std::string& name) const;

  FileDescriptor descriptor_;
  std::string path_;
  Kind kind_;
};

}  // namespace orx::platform
