#include "platform/storage/UserDefaults.h"

#include <ORXAccount/platform/Bundle.h>

#include <functional>

#include "platform/base/Limits.h"
#include "platform/formats/PropertyList.h"
#include "platform/process/ForkSafety.h"
#include "platform/storage/DefaultsContent.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Kind = StoredDirectory::Kind;
using Missing = StoredDirectory::Missing;

constexpr const char* fileName = "defaults.plist";
constexpr const char* fileLockName = ".defaults.plist.lock";
constexpr const char* transactionLockName = ".transaction.lock";

std::shared_ptr<Error> errorOf(const FileProblem& problem, std::int64_t code) {
  if (problem.kind == FileProblem::Kind::LockedByAnother) code = NSFileLockingError;
  return Error::errorWithDomain_code_userInfo(
      NSCocoaErrorDomain, code,
      {{std::string(NSLocalizedDescriptionKey), problem.text},
       {std::string(NSFilePathErrorKey), problem.path},
       {std::string(NSLocalizedRecoverySuggestionErrorKey), problem.remedy}});
}

std::shared_ptr<Error> damage(const std::string& path, std::string_view reason) {
  return Error::errorWithDomain_code_userInfo(
      NSCocoaErrorDomain, NSPropertyListReadCorruptError,
      {{std::string(NSLocalizedDescriptionKey), path + " is damaged: " + std::string(reason) + "."},
       {std::string(NSFilePathErrorKey), path},
       {std::string(NSLocalizedRecoverySuggestionErrorKey),
        "Restore the file, or sign in: it is then set aside and begun anew."}});
}

StoredDirectory::Opening openDirectory(Missing missing) {
  const auto home = configurationHome();
  if (!home) return {.directory = {}, .problem = homelessness(configurationHomeVariable)};
  const auto identifier = Bundle::mainBundle()->bundleIdentifier();
  return StoredDirectory::open(*home + "/" + pathComponent(identifier.value_or(programName())),
                               Kind::Settings, missing);
}

using Change = std::function<std::optional<Data>(const std::optional<Data>&)>;

// Writes what `change` makes of the present content; nothing when it gives nothing.
std::shared_ptr<Error> modify(Missing missing, UserDefaults::DamagedFile damagedFile,
                              const Change& change) {
  const auto opening = openDirectory(missing);
  if (opening.problem) return errorOf(*opening.problem, NSFileWriteUnknownError);
  if (!opening.directory) return nullptr;
  const auto& directory = *opening.directory;
  const auto taking =
      directory.lock(fileLockName, std::chrono::steady_clock::now() + limits::storeWait);
  if (taking.problem) return errorOf(*taking.problem, NSFileWriteUnknownError);

  const auto reading = directory.read(fileName);
  if (reading.problem) return errorOf(*reading.problem, NSFileReadUnknownError);
  auto previous = StoredDirectory::Previous::Discard;
  std::optional<Data> changed;
  try {
    changed = change(reading.bytes);
  } catch (const MalformedPropertyList& malformed) {
    if (damagedFile == UserDefaults::DamagedFile::Refuse) {
      return damage(directory.pathOf(fileName), malformed.what());
    }
    previous = StoredDirectory::Previous::KeepAside;
    changed = change(std::nullopt);
  }
  if (!changed) return nullptr;
  const auto problem = directory.replace(fileName, *changed, previous);
  return problem ? errorOf(*problem, NSFileWriteUnknownError) : nullptr;
}

}  // namespace

const std::shared_ptr<UserDefaults>& UserDefaults::standardUserDefaults() {
  static constinit ProcessWide<std::shared_ptr<UserDefaults>> defaults;
  return defaults.get([] { return std::shared_ptr<UserDefaults>(new UserDefaults); });
}

UserDefaults::StringReading UserDefaults::stringForKey(std::string_view key) const {
  const auto opening = openDirectory(Missing::Leave);
  if (opening.problem) return {{}, errorOf(*opening.problem, NSFileReadUnknownError)};
  if (!opening.directory) return {};
  const auto reading = opening.directory->read(fileName);
  if (reading.problem) return {{}, errorOf(*reading.problem, NSFileReadUnknownError)};
  if (!reading.bytes) return {};
  try {
    return {stringInDefaults(*reading.bytes, key), nullptr};
  } catch (const MalformedPropertyList& malformed) {
    return {{}, damage(opening.directory->pathOf(fileName), malformed.what())};
  }
}

std::shared_ptr<Error> UserDefaults::setString_forKey(std::string_view value, std::string_view key,
                                                      DamagedFile damagedFile) {
  return modify(Missing::Create, damagedFile, [&](const std::optional<Data>& content) {
    return defaultsWithString(content, key, value);
  });
}

std::shared_ptr<Error> UserDefaults::removeObjectForKey(std::string_view key) {
  return modify(Missing::Leave, DamagedFile::Refuse,
                [&](const std::optional<Data>& content) { return defaultsWithout(content, key); });
}

std::shared_ptr<Error> UserDefaults::synchronize() {
  const auto opening = openDirectory(Missing::Leave);
  if (opening.problem) return errorOf(*opening.problem, NSFileWriteUnknownError);
  if (!opening.directory) return nullptr;
  const auto problem = opening.directory->synchronize(fileName);
  return problem ? errorOf(*problem, NSFileWriteUnknownError) : nullptr;
}

bool UserDefaults::isDamage(const std::shared_ptr<Error>& error) {
  return error && error->code() == NSPropertyListReadCorruptError;
}

UserDefaults::Transaction UserDefaults::beginTransaction(Deadline deadline,
                                                         MissingFolder missingFolder) const {
  const auto opening =
      openDirectory(missingFolder == MissingFolder::Create ? Missing::Create : Missing::Leave);
  if (opening.problem) {
    return {.lock = {}, .error = errorOf(*opening.problem, NSFileWriteUnknownError)};
  }
  if (!opening.directory) return {};
  auto taking = opening.directory->lock(transactionLockName, deadline);
  if (!taking.problem) return {.lock = std::move(taking.lock), .error = nullptr};
  return {.lock = {},
          .error = errorOf(*taking.problem, NSFileWriteUnknownError),
          .lockedByAnother = taking.problem->kind == FileProblem::Kind::LockedByAnother};
}

}  // namespace orx::platform
