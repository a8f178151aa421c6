// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/keychain/ItemFile.h"
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

KeychainItem itemOf(const ORVAAccountKeychain& keychain) {
  const Dictionary query = keychain.queryWithKey(ORVAAccountUserKeychainKey);
  return {.service = *query[kSecAttrService].string(), .account = *query[kSecAttrAccount].string()};
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

// The user that a start-up has read, and what it was made of. The start-up makes this user current
// and thereby writes it back. If another process has signed in or out in between, that writing
// would undo it.
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

// Says of an item that was read and makes no sense what is said of a damaged file. Whose it is
// cannot be told, so there is no reading.
std::optional<StoredUser> notUnderstood(const ORVAAccountKeychain& keychain,
                                        std::string_view reason) {
  const KeychainItem item = itemOf(keychain);
  const std::string store = keychainStatus().store();
  ItemFile file(item);
  const bool isHere = store == ItemState::here && file.look().has_value();
  const auto failure = keychainFailure(
      errSecDecode,
      "The stored user (item " + item.account + " of " + item.service + " in the store " + store +
          ") is damaged. " + std::string(reason),
      isHere ? file.path() : "", "The next sign-in replaces it; nothing needs to be removed.");
  noteKeychainError(failure.value());
  return std::nullopt;
}

// Absent when the stores do not tell, and the status says why: they are locked, out of reach or
// damaged.
std::optional<StoredUser> readStoredUser(const ORVAAccountKeychain& keychain) {
  const auto uuid = readInstallationUUID();
  std::optional<Data> blob;
  const OSStatus status = keychain.copyData_forKey(blob, ORVAAccountUserKeychainKey);
  if (!uuid || (status != errSecSuccess && status != errSecItemNotFound)) return std::nullopt;
  if (!blob) return StoredUser{};
  if (!*uuid) return StoredUser{.isForeign = true};

  const auto item = unarchiveObjectWithData(*blob);
  if (!item) return notUnderstood(keychain, item.error()->localizedDescription());
  const auto* entries = item->dictionary();
  if (entries == nullptr) return notUnderstood(keychain, "It holds no dictionary.");
  const auto* blobUUID = (*entries)[ORVAAccountUserUUIDKey].string();
  if (blobUUID == nullptr || *blobUUID != **uuid) return StoredUser{.isForeign = true};
  const auto* bytes = (*entries)[ORVAAccountUserDataKey].data();
  if (bytes == nullptr) return notUnderstood(keychain, "It holds no record.");
  const auto record = unarchiveObjectWithData(*bytes);
  if (!record) return notUnderstood(keychain, record.error()->localizedDescription());
  auto user = record->objectOf<ORVAAccountUser>();
  if (!user) return notUnderstood(keychain, "Its record is none of a user.");
  return StoredUser{.user = std::move(user), .uuid = *uuid, .blob = std::move(blob)};
}

// Compares the owners and not what lock() gives: that might be the last to hold the record, whose
// destructor is host code and would run under the caller's locks.
bool isOf(const std::weak_ptr<ORVAAccountUser>& known,
          const std::shared_ptr<ORVAAccountUser>& user) {
  return !known.owner_before(user) && !user.owner_before(known);
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

// Whether the last removal of this process left an item that belongs to nobody.
constinit std::atomic<bool> hasLeftItem{false};

void removeStoredUser(ORVAAccountKeychain& keychain) {
  // The defaults first: if the item cannot be removed, or the process dies in between, it belongs
  // to no installation, and the next reading removes it.
  const auto removed =
      UserDefaults::standardUserDefaults()->removeObjectForKey(ORVAAccountUserUserDefaultKey);
  noteDefaultsError(errorOf(removed));
  const bool isGone = keychain.setData_forKey(std::nullopt, ORVAAccountUserKeychainKey);
  hasLeftItem = removed && !isGone;
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

// Removes an item that belongs to nobody. Absent when the stores do not tell, or when another
// process keeps them to itself.
std::optional<StoredUser> readAndTidy(ORVAAccountKeychain& keychain) {
  auto stored = readStoredUser(keychain);
  if (!stored) return std::nullopt;
  if (stored->isForeign) {
    // The defaults and the keychain were read one after the other, and another process may have
    // signed in between. Only what is foreign while everyone else is kept out is removed.
    const auto lock = lockTransaction(Missing::Create);
    if (isHeldUp(lock)) return std::nullopt;
    stored = readStoredUser(keychain);
    if (!stored) return std::nullopt;
    if (stored->isForeign) {
      removeStoredUser(keychain);
      return stored;
    }
  }
  // What a removal has left is gone, or somebody has replaced it; the status still tells of it.
  if (hasLeftItem.exchange(false)) {
    noteKeychainCall(KeychainCall::Removal, itemOf(keychain), nullptr);
  }
  return stored;
}

}  // namespace

bool user::isSignOutUnfinished() { return hasLeftItem; }

struct ORVAAccountUserCache::State {
  const std::shared_ptr<ORVAAccountKeychain> userKeychain;
};

ORVAAccountUserCache::ORVAAccountUserCache()
    : state_(std::make_unique<State>(
          State{ORVAAccountKeychain::initWithServiceID(keychainService())})) {
  user::registerArchivedClasses();
}

ORVAAccountUserCache::~ORVAAccountUserCache() = default;

const std::shared_ptr<ORVAAccountUserCache>& ORVAAccountUserCache::sharedInstance() {
  static constinit ProcessWide<std::shared_ptr<ORVAAccountUserCache>> cache;
  return cache.get([] { return std::shared_ptr<ORVAAccountUserCache>(new ORVAAccountUserCache); });
}

// Absent for a record that no archive takes, as a host can make one: the user cannot be stored, and
// the status says so.
std::optional<Data> ORVAAccountUserCache::archivedUser(
    const std::shared_ptr<ORVAAccountUser>& user) {
  if (!user) return std::nullopt;
  try {
    return archivedDataWithRootObject(user);
  } catch (const std::bad_alloc&) {
    // Nothing is wrong with the record, and nothing has happened yet.
    throw;
  } catch (const std::exception& reason) {
    const auto failure =
        keychainFailure(errSecParam, std::string("The user cannot be stored: ") + reason.what(), {},
                        "Make the record of text, numbers and the like only.");
    noteKeychainError(failure.value());
    return std::nullopt;
  }
}

void ORVAAccountUserCache::setCachedUser(const std::shared_ptr<ORVAAccountUser>& user) {
  setCachedUser_archivedUser(user, archivedUser(user));
}

void ORVAAccountUserCache::setCachedUser_archivedUser(const std::shared_ptr<ORVAAccountUser>& user,
                                                      const std::optional<Data>& archivedUser) {
  // Forgets the restored user: the skip below is only for the write-back right after a restore.
  const LastRestored restored = lastRestored().exchange({});
  if (!user) {
    // Goes on when another process keeps the lock: a sign-out must not be lost. It creates no
    // folder for the lock either: without one, nobody else has stored a user.
    const auto lock = lockTransaction(Missing::DoNotCreate);
    removeStoredUser(*state_->userKeychain);
    return;
  }
  if (!archivedUser) return;
  // The defaults may end this before it comes to the keychain, and what an earlier call met there
  // would be told in place of their error.
  noteKeychainError(nullptr);
  const auto lock = lockTransaction(Missing::Create);
  if (isHeldUp(lock)) return;
  const bool isWrittenBack = isOf(restored.user, user);
  if (isWrittenBack && !isStillStored(restored, *state_->userKeychain)) return;
  const auto uuid = isWrittenBack ? restored.uuid : installationUUID();
  if (!uuid) return;
  const Dictionary blob{{ORVAAccountUserUUIDKey, *uuid}, {ORVAAccountUserDataKey, *archivedUser}};
  state_->userKeychain->setData_forKey(archivedDataWithRootObject(blob),
                                       ORVAAccountUserKeychainKey);
}

std::shared_ptr<ORVAAccountUser> ORVAAccountUserCache::cachedUser() {
  const auto stored = readAndTidy(*state_->userKeychain);
  return stored ? stored->user : nullptr;
}

std::optional<std::shared_ptr<ORVAAccountUser>> ORVAAccountUserCache::userToRestore() {
  const auto stored = readAndTidy(*state_->userKeychain);
  if (!stored) return std::nullopt;
  lastRestored().set({.user = stored->user, .uuid = stored->uuid, .blob = stored->blob});
  return stored->user;
}

}  // namespace orx
