// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Object.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/storage/StoredDirectory.h"

namespace orx::platform {

// The application's persistent settings: one property-list file, shared by the application's
// processes. Every change is on disk when its call returns. Safe to use from any thread.
class UserDefaults final : public Object {
 public:
  // The defaults of the bundle identifier that is set at the moment of each call.
  static const std::shared_ptr<UserDefaults>& standardUserDefaults();

  // Absent only when the file truly holds no such value; an error when the file could not be read
  // or is damaged, so that nothing is known. A number comes as its text; a value of another kind
  // reads as absent.
  Result<std::optional<std::string>> stringForKey(std::string_view key) const;

  // What a change does with a file that can be read but is no property list: refuse, or start a new
  // one and give the old a second name.
  enum class DamagedFile { Refuse, Quarantine };

  // After an error the file is as it was. The key is ASCII. Whatever else the file holds, of
  // whatever kind, stays.
  Result<void> setString_forKey(std::string_view value, std::string_view key,
                                DamagedFile damagedFile = DamagedFile::Refuse);
  Result<void> removeObjectForKey(std::string_view key);

  // Makes sure that earlier changes survive a crash of the machine.
  Result<void> synchronize();

  // True for the error of a file that can be read but is no property list.
  static bool isDamage(const Error& error);

  // For work that reads and changes the defaults together with something else: keeps out the
  // application's other processes and threads that take this lock too. It does not keep anyone
  // from single calls. Where there is no folder yet, it is made, or nobody is kept out: then there
  // is neither lock nor error.
  Result<std::optional<FileLock>> lockTransaction(
      Deadline deadline, StoredDirectory::Missing missing = StoredDirectory::Missing::Create) const;

 private:
  UserDefaults() = default;
};

}  // namespace orx::platform
