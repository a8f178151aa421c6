#pragma once

#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Object.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Result.h"
#include "platform/storage/StoredFile.h"

namespace orx::platform {

// Codes of NSCocoaErrorDomain for files; a damaged file has NSPropertyListReadCorruptError.
inline constexpr std::int64_t NSFileLockingError = 255;
inline constexpr std::int64_t NSFileReadUnknownError = 256;
inline constexpr std::int64_t NSFileWriteUnknownError = 512;

// The application's persistent settings: one property-list file, shared by the application's
// processes. Every change is on disk when its call returns. Safe to use from any thread.
class UserDefaults final : public Object {
 public:
  // The defaults of the bundle identifier that is set at the moment of each call.
  static const std::shared_ptr<UserDefaults>& standardUserDefaults();

  // `error` is set when the file could not be read or is damaged: then nothing is known about the
  // value. Otherwise an absent value is truly absent. A number comes as its text; a value of
  // another kind reads as absent.
  struct StringReading {
    std::optional<std::string> value;
    std::shared_ptr<Error> error;
  };
  StringReading stringForKey(std::string_view key) const;

  // What a change does with a file that can be read but is no property list: refuse, or begin a new
  // one and keep the old beside it under another name.
  enum class DamagedFile { Refuse, SetAside };

  // Each gives null, or why the change could not be stored; the file is then as it was. The key is
  // ASCII. Whatever else the file holds, of whatever kind, stays.
  std::shared_ptr<Error> setString_forKey(std::string_view value, std::string_view key,
                                          DamagedFile damagedFile = DamagedFile::Refuse);
  std::shared_ptr<Error> removeObjectForKey(std::string_view key);

  // Makes sure that earlier changes survive a crash of the machine.
  std::shared_ptr<Error> synchronize();

  // True for the error of a file that can be read but is no property list.
  static bool isDamage(const std::shared_ptr<Error>& error);

  // For work that reads and changes the defaults together with something else: keeps out the
  // application's other processes and threads that take this lock too. It does not keep anyone
  // from single calls. Where there is no folder yet, nobody can be kept out: it is made first, or
  // left missing with neither lock nor error.
  struct Transaction {
    std::optional<FileLock> lock;
    std::shared_ptr<Error> error;
    bool lockedByAnother = false;  // the wait ran out, rather than that no lock could be made
  };
  enum class MissingFolder { Leave, Create };
  Transaction beginTransaction(Deadline deadline,
                               MissingFolder missingFolder = MissingFolder::Create) const;

 private:
  UserDefaults() = default;
};

}  // namespace orx::platform
