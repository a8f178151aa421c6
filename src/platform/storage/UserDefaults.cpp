// SPDX-License-Identifier: MIT
#include "platform/storage/UserDefaults.h"

#include <ORXAccount/platform/Bundle.h>

#include "platform/base/Limits.h"
#include "platform/formats/PropertyList.h"
#include "platform/process/ForkSafety.h"
#include "platform/storage/DefaultsContent.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Missing = StoredDirectory::Missing;

constexpr const char* fileName = "defaults.plist";
// Two locks, because single calls go on while somebody holds a transaction.
constexpr const char* fileLockName = ".defaults.plist.lock";
constexpr const char* transactionLockName = ".transaction.lock";

Failure damage(const std::string& path, std::string_view reason) {
  return makeFailure(NSCocoaErrorDomain, NSPropertyListReadCorruptError,
                     path + " is damaged: " + std::string(reason) + ".", path,
                     "Restore the file, or sign in: it is then set aside and begun anew.");
}

Result<std::optional<StoredDirectory>> openDirectory(Missing missing) {
  const auto home = configurationHome();
  if (!home) return homeNotFound(configurationHomeVariable);
  const auto identifier = Bundle::mainBundle()->bundleIdentifier();
  return StoredDirectory::open(*home + "/" + pathComponent(identifier.value_or(programName())),
                               StoredDirectory::Kind::Settings, missing);
}

// Puts `value` under `key`, or removes the key for an absent value.
Result<void> change(std::string_view key, std::optional<std::string_view> value,
                    UserDefaults::DamagedFile damagedFile) {
  // There is nothing to remove where there is no folder.
  const auto opened = openDirectory(value ? Missing::Create : Missing::DoNotCreate);
  if (!opened) return Failure(opened.error());
  if (!*opened) return {};
  const StoredDirectory& directory = **opened;
  const auto lock =
      directory.lock(fileLockName, std::chrono::steady_clock::now() + limits::storeWait);
  if (!lock) return Failure(lock.error());

  const auto content = directory.read(fileName);
  if (!content) return Failure(content.error());
  auto previous = StoredDirectory::Previous::Discard;
  std::optional<Data> changed;
  try {
    changed = changedDefaults(*content, key, value);
  } catch (const MalformedPropertyList& malformed) {
    if (damagedFile == UserDefaults::DamagedFile::Refuse) {
      return damage(directory.pathOf(fileName), malformed.what());
    }
    previous = StoredDirectory::Previous::Quarantine;
    changed = changedDefaults(std::nullopt, key, value);
  }
  if (!changed) return {};
  return directory.replace(fileName, *changed, previous);
}

}  // namespace

const std::shared_ptr<UserDefaults>& UserDefaults::standardUserDefaults() {
  static constinit ProcessWide<std::shared_ptr<UserDefaults>> defaults;
  return defaults.get([] { return std::shared_ptr<UserDefaults>(new UserDefaults); });
}

Result<std::optional<std::string>> UserDefaults::stringForKey(std::string_view key) const {
  const auto opened = openDirectory(Missing::DoNotCreate);
  if (!opened) return Failure(opened.error());
  if (!*opened) return std::nullopt;
  const auto content = (*opened)->read(fileName);
  if (!content) return Failure(content.error());
  if (!*content) return std::nullopt;
  try {
    return stringInDefaults(**content, key);
  } catch (const MalformedPropertyList& malformed) {
    return damage((*opened)->pathOf(fileName), malformed.what());
  }
}

Result<void> UserDefaults::setString_forKey(std::string_view value, std::string_view key,
                                            DamagedFile damagedFile) {
  return change(key, value, damagedFile);
}

Result<void> UserDefaults::removeObjectForKey(std::string_view key) {
  return change(key, std::nullopt, DamagedFile::Refuse);
}

Result<void> UserDefaults::synchronize() {
  const auto opened = openDirectory(Missing::DoNotCreate);
  if (!opened) return Failure(opened.error());
  return *opened ? (*opened)->synchronize(fileName) : Result<void>();
}

bool UserDefaults::isDamage(const Error& error) {
  return error.domain() == NSCocoaErrorDomain && error.code() == NSPropertyListReadCorruptError;
}

Result<std::optional<FileLock>> UserDefaults::lockTransaction(Deadline deadline,
                                                              Missing missing) const {
  const auto opened = openDirectory(missing);
  if (!opened) return Failure(opened.error());
  if (!*opened) return std::nullopt;
  return (*opened)->lock(transactionLockName, deadline);
}

}  // namespace orx::platform
