#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/keychain/KeychainStore.h"
#include "platform/keychain/StoreStatus.h"
#include "platform/process/ForkSafety.h"
#include "platform/process/UUID.h"
#include "platform/storage/UserDefaults.h"
#include "user/ArchivedClasses.h"
#include "user/CurrentUser.h"

namespace orx {

using namespace platform;

namespace {

using Missing = StoredDirectory::Missing;

std::string keychainService() {
  // An absent identifier reads as the platform prints one.
  const auto identifier = Bundle::mainBundle()->bundleIdentifier();
  return "com.orva.account.usercache." + identifier.value_or("(null)");
}

// What the defaults and the keychain hold together.
struct StoredUser {
  // True for an item that is not of this installation: there is nobody to restore then, and the
  // item is to be removed.
  bool isForeign = false;
  std::shared_ptr<ORVAAccountUser> user = {};
  std::optional<std::string> uuid = {};
  std::optional<Data> blob = {};
};

// The user that the last reading restored, and what it was restored from. A start-up makes this
// user current and thereby writes it back. If another process has signed in or out in between, that
// writing would undo it.
struct LastRestored {
  std::weak_ptr<ORVAAccountUser> user;
  std::optional<std::string> uuid;
  std::optional<Data> blob;
};

Guarded<LastRestored>& lastRestored() {
  static constinit ProcessWide<Guarded<LastRestored>> restored;
  return restored.get();
}

// Absent where there is none yet; an error when nothing is known about it.
Result<std::optional<std::string>> readInstallationUUID() {
  auto uuid = UserDefaults::standardUserDefaults()->stringForKey(ORVAAccountUserUserDefaultKey);
  noteDefaultsError(errorOf(uuid));
  return uuid;
}

std::shared_ptr<ORVAAccountUser> restoreRecord(const Value& bytes) {
  if (bytes.data() == nullptr) return nullptr;
  return unarchiveObjectWithData(*bytes.data()).value_or(Value()).objectOf<ORVAAccountUser>();
}

StoredUser readStoredUser(const ORVAAccountKeychain& keychain) {
  const auto uuid = readInstallationUUID();
  const auto blob = keychain.dataForKey(ORVAAccountUserKeychainKey);
  if (!uuid || !blob) return {};
  if (!*uuid) return {.isForeign = true};

  const auto item = unarchiveObjectWithData(*blob);
  const auto* entries = item ? item->dictionary() : nullptr;
  // It cannot be told whose a damaged blob is, so it is not removed; the next sign-in replaces it.
  if (entries == nullptr) return {};
  const auto* blobUUID = (*entries)[ORVAAccountUserUUIDKey].string();
  if (blobUUID == nullptr || *blobUUID != **uuid) return {.isForeign = true};
  return {.user = restoreRecord((*entries)[ORVAAccountUserDataKey]), .uuid = *uuid, .blob = blob};
}

std::shared_ptr<ORVAAccountUser> restoredFrom(const StoredUser& stored) {
  lastRestored().set({.user = stored.user, .uuid = stored.uuid, .blob = stored.blob});
  return stored.user;
}

bool isStillStored(const LastRestored& restored, const ORVAAccountKeychain& keychain) {
  const auto uuid = readInstallationUUID();
  return uuid && *uuid == restored.uuid &&
         keychain.dataForKey(ORVAAccountUserKeychainKey) == restored.blob;
}

// The UUID that ties an item to the defaults: the one that is there, else a new one, stored. Absent
// when it could not be read or stored.
std::optional<std::string> installationUUID() {
  auto stored = readInstallationUUID();
  if (stored && *stored) return *std::move(stored);
  // A damaged file is set aside and started anew. One that cannot be read may be whole, and then
  // holds the UUID of the stored item.
  if (!stored && !UserDefaults::isDamage(*stored.error())) return std::nullopt;

  const auto& defaults = UserDefaults::standardUserDefaults();
  auto uuid = UUIDString();
  auto done = defaults->setString_forKey(uuid, ORVAAccountUserUserDefaultKey,
                                         UserDefaults::DamagedFile::Quarantine);
  if (done) done = defaults->synchronize();
  noteDefaultsError(errorOf(done));
  if (!done) return std::nullopt;
  return uuid;
}

// The last removal left something behind.
constinit std::atomic<bool> removalIsUnfinished = false;

void removeStoredUser(ORVAAccountKeychain& keychain) {
  // The defaults first: if the item cannot be removed, or the process dies in between, it belongs
  // to no installation, and the next reading removes it.
  const auto removed =
      UserDefaults::standardUserDefaults()->removeObjectForKey(ORVAAccountUserUserDefaultKey);
  noteDefaultsError(errorOf(removed));
  const bool isGone = keychain.setData_forKey(std::nullopt, ORVAAccountUserKeychainKey);
  removalIsUnfinished = !removed || !isGone;
}

// Absent for a record that no archive takes, as a host can make one: the user cannot be stored, and
// the status says so.
std::optional<Data> archived(const std::shared_ptr<ORVAAccountUser>& user) {
  try {
    return archivedDataWithRootObject(user);
  } catch (const std::exception& reason) {
    const auto failure =
        keychainFailure(errSecParam, std::string("The user cannot be stored: ") + reason.what(), {},
                        "Make the record of text, numbers and the like only.");
    noteKeychainError(failure.value());
    return std::nullopt;
  }
}

// Keeps out the application's other processes and threads while the defaults and the keychain are
// changed together: two first sign-ins at once would leave the UUID of one with the item of the
// other.
Result<std::optional<FileLock>> lockTransaction(Missing missing) {
  auto lock = UserDefaults::standardUserDefaults()->lockTransaction(
      std::chrono::steady_clock::now() + limits::storeWait, missing);
  if (!lock) noteDefaultsError(lock.error());
  return lock;
}

// Where no lock can be made because nothing can be written there, the UUID cannot change either,
// and the work goes on without a lock. Any other failure to lock it says nothing about others.
bool isHeldUp(const Result<std::optional<FileLock>>& lock) {
  return !lock && !isNotWritable(*lock.error());
}

}  // namespace

bool user::isSignOutUnfinished() { return removalIsUnfinished; }

ORVAAccountUserCache::ORVAAccountUserCache()
    : userKeychain_(ORVAAccountKeychain::initWithServiceID(keychainService())) {
  user::registerArchivedClasses();
}

ORVAAccountUserCache::~ORVAAccountUserCache() = default;

const std::shared_ptr<ORVAAccountUserCache>& ORVAAccountUserCache::sharedInstance() {
  static constinit ProcessWide<std::shared_ptr<ORVAAccountUserCache>> cache;
  return cache.get([] { return std::shared_ptr<ORVAAccountUserCache>(new ORVAAccountUserCache); });
}

void ORVAAccountUserCache::setCachedUser(const std::shared_ptr<ORVAAccountUser>& user) {
  // Forgets the restored user: the skip below is only for the write-back right after a restore.
  const LastRestored restored = lastRestored().exchange({});
  if (!user) {
    // Goes on when another process keeps the lock: a sign-out must not be lost. It creates no
    // folder for the lock either: without one, nobody else has stored a user.
    const auto lock = lockTransaction(Missing::DoNotCreate);
    removeStoredUser(*userKeychain_);
    return;
  }
  const auto userBytes = archived(user);
  if (!userBytes) return;
  const auto lock = lockTransaction(Missing::Create);
  if (isHeldUp(lock)) return;
  if (user == restored.user.lock() && !isStillStored(restored, *userKeychain_)) return;
  const auto uuid = installationUUID();
  if (!uuid) return;
  const Dictionary blob{{ORVAAccountUserUUIDKey, *uuid}, {ORVAAccountUserDataKey, *userBytes}};
  userKeychain_->setData_forKey(archivedDataWithRootObject(blob), ORVAAccountUserKeychainKey);
}

std::shared_ptr<ORVAAccountUser> ORVAAccountUserCache::cachedUser() {
  auto stored = readStoredUser(*userKeychain_);
  if (!stored.isForeign) return restoredFrom(stored);
  // The defaults and the keychain were read one after the other, and another process may have
  // signed in between. Only what is foreign while everyone else is kept out is removed.
  const auto lock = lockTransaction(Missing::Create);
  if (isHeldUp(lock)) return nullptr;
  stored = readStoredUser(*userKeychain_);
  if (stored.isForeign) removeStoredUser(*userKeychain_);
  return restoredFrom(stored);
}

}  // namespace orx
