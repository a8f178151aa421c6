// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

namespace orx::platform {

// Whom to trust: a PEM file of certificate authorities, or a directory in which OpenSSL finds each
// by a hash of its name and reads no other.
struct TrustPlace {
  std::string path;
  bool isDirectory = false;

  friend bool operator==(const TrustPlace&, const TrustPlace&) = default;
};

// The system's, of the two that libcurl knows (null: it knows none): the directory, where the
// system keeps one with hashes, since parsing the whole bundle costs tens of milliseconds; else the
// bundle. Absent when there is neither.
std::optional<TrustPlace> systemTrust(const char* bundle, const char* directory);

// A file or directory at one moment. Two are equal as long as nobody has changed or replaced it.
class FileState {
 public:
  // Of nothing.
  FileState() = default;
  // Of what is there now; of nothing when it cannot be looked at.
  explicit FileState(const std::string& path);

  bool exists() const { return exists_; }
  bool isDirectory() const { return exists_ && S_ISDIR(file_.st_mode); }
  friend bool operator==(const FileState& left, const FileState& right);

  // Another name of the same file, for each state another one. libcurl keeps parsed authorities,
  // verified connections and their sessions by the file's name, and forgets none when the file
  // changes; by another name nothing is kept yet.
  std::string respelled(const std::string& path) const;

 private:
  bool exists_ = false;
  struct stat file_ {};
};

// What files were when they were first asked for, since the last forget().
class FileStates {
 public:
  const FileState& of(const std::string& path) {
    if (!state_ || path_ != path) {
      state_.emplace(path);
      path_ = path;
    }
    return *state_;
  }
  void forget() { state_.reset(); }

 private:
  std::string path_;
  std::optional<FileState> state_;
};

}  // namespace orx::platform
