// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
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
  // Of what is there now; of nothing when it cannot be looked at, and when it is neither a file nor
  // a directory: to open or to read a pipe may take for ever. Waits for as long as the file system
  // does.
  explicit FileState(const std::string& path);

  bool isDirectory() const { return isDirectory_; }
  friend bool operator==(const FileState&, const FileState&) = default;

  // Another name of the same file, for each state another one. libcurl keeps parsed authorities,
  // verified connections and their sessions by the file's name, and forgets none when the file
  // changes; by another name nothing is kept yet. Of nothing: a name under which no file is found,
  // whatever is there.
  std::string respelled(const std::string& path) const;

 private:
  // What changes whenever the file is written or replaced.
  std::optional<std::array<std::uint64_t, 7>> marks_;
  bool isDirectory_ = false;
};

}  // namespace orx::platform
