#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>

#include <stdexcept>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/keychain/KeychainStatus.h"
#include "platform/process/ForkSafety.h"
#include "platform/process/UUID.h"
#include "platform/storage/UserDefaults.h"
#include "user/ArchivedClasses.h"

namespace orx {

using namespace platform;

namespace {

using MissingFolder = UserDefaults::MissingFolder;

std::string keychainService() {
  // An absent identifier reads as the platform prints one.
  const auto identifier = Bundle::mainBundle()->bundleIdentifier();
  return "com.orva.account.usercache." + identifier.value_or("(null)");
}

// What the two stores hold together.
struct StoredUser {
  enum class State {
    Unavailable,  // nobody to restore and nothing to remove
    Available,
    Foreign,  // an item that is not of this installation
  };
  State state = State::Unavailable;
  std::shared_ptr<ORVAAccountUser> user;
  std::optional<std::string> uuid;
  std::optional<Data> blob;
};

// What the last reading restored, and from what. A start-up sets the user that it has just restored
// and so writes it back. Where another process has signed in or out in between, that writing would
// undo it.
struct LastRestored {
  std::weak_ptr<ORVAAccountUser> user;
  std::optional<std::string> uuid;
  std::optional<Data> blob;
};

LastRestored exchangeLastRestored(LastRestored other) {
  static constinit ProcessWide<LastRestored> shared;
  LastRestored& last = shared.get();
  const BriefSection section;
  std::swap(last, other);
  return other;
}

UserDefaults::StringReading readInstallationUUID() {
  auto reading = UserDefaults::standardUserDefaults()->stringForKey(ORVAAccountUserUserDefaultKey);
  noteDefaultsOutcome(reading.error);
  return reading;
}

std::shared_ptr<ORVAAccountUser> restoreRecord(const Value& bytes) {
  if (bytes.data() == nullptr) return nullptr;
  return unarchiveObjectWithData(*bytes.data()).value_or(Value()).objectOf<ORVAAccountUser>();
}

StoredUser readStoredUser(const ORVAAccountKeychain& keychain) {
  using State = StoredUser::State;
  const auto uuid = readInstallationUUID();
  const auto blob = keychain.dataForKey(ORVAAccountUserKeychainKey);
  if (uuid.error || !blob) return {};
  StoredUser foreign{.state = State::Foreign, .user = {}, .uuid = {}, .blob = {}};
  if (!uuid.value) return foreign;

  const auto item = unarchiveObjectWithData(*blob);
  const auto* entries = item ? item->dictionary() : nullptr;
  // Damage says nothing about whose item it is: it stays until a sign-in replaces it.
  if (entries == nullptr) return {};
  const auto* blobUUID = (*entries)[ORVAAccountUserUUIDKey].string();
  if (blobUUID == nullptr || *blobUUID != *uuid.value) {
    return foreign;
  }
  return {.state = State::Available,
          .user = restoreRecord((*entries)[ORVAAccountUserDataKey]),
          .uuid = uuid.value,
          .blob = blob};
}

std::shared_ptr<ORVAAccountUser> restoredFrom(const StoredUser& stored) {
  exchangeLastRestored({.user = stored.user, .uuid = stored.uuid, .blob = stored.blob});
  return stored.user;
}

bool isStillStored(const LastRestored& restored, const ORVAAccountKeychain& keychain) {
  return readInstallationUUID().value == restored.uuid &&
         keychain.dataForKey(ORVAAccountUserKeychainKey) == restored.blob;
}

// The UUID that ties an item to the defaults: the one that is there, else a new one, stored. Absent
// when it could not be read or stored.
std::optional<std::string> installationUUID() {
  auto reading = readInstallationUUID();
  if (reading.value) return std::move(reading.value);
  if (reading.error && !UserDefaults::isDamage(reading.error)) return std::nullopt;

  const auto& defaults = UserDefaults::standardUserDefaults();
  auto uuid = UUIDString();
  auto error = defaults->setString_forKey(uuid, ORVAAccountUserUserDefaultKey,
                                          UserDefaults::DamagedFile::SetAside);
  if (!error) error = defaults->synchronize();
  noteDefaultsOutcome(error);
  if (error) return std::nullopt;
  return uuid;
}

void removeStoredUser(ORVAAccountKeychain& keychain) {
  // The defaults first: an item that stays behind is then nobody's, and goes with the next reading.
  noteDefaultsOutcome(
      UserDefaults::standardUserDefaults()->removeObjectForKey(ORVAAccountUserUserDefaultKey));
  keychain.setData_forKey(std::nullopt, ORVAAccountUserKeychainKey);
}

// A record that a host made can hold what no archive takes; that is then a problem of storing it.
std::optional<Data> archived(const std::shared_ptr<ORVAAccountUser>& user) {
  try {
    return archivedDataWithRootObject(user);
  } catch (const std::exception& reason) {
    noteKeychainOutcome({.status = errSecParam,
                         .text = std::string("The user cannot be stored: ") + reason.what(),
                         .path = {},
                         .remedy = "Make the record of text, numbers and the like only."});
    return std::nullopt;
  }
}

UserDefaults::Transaction beginTransaction(UserDefaults::MissingFolder missingFolder) {
  auto transaction = UserDefaults::standardUserDefaults()->beginTransaction(
      std::chrono::steady_clock::now() + limits::storeWait, missingFolder);
  if (transaction.error) noteDefaultsOutcome(transaction.error);
  return transaction;
}

}  // namespace

ORVAAccountUserCache::ORVAAccountUserCache()
    : userKeychain_(ORVAAccountKeychain::initWithServiceID(keychainService())) {
  user::registerArchivedClasses();
}

ORVAAccountUserCache::~ORVAAccountUserCache() = default;

const std::shared_ptr<ORVAAccountUserCache>& ORVAAccountUserCache::sharedInstance() {
  static constinit ProcessWide<std::shared_ptr<ORVAAccountUserCache>> cache;
  return cache.get([] { return std::shared_ptr<ORVAAccountUserCache>(new ORVAAccountUserCache); });
}

// The transaction keeps out the application's other processes and threads: two first sign-ins at
// once would leave the UUID of one with the item of the other. Where no lock can be made because
// nothing can be written there, the UUID cannot change either, and the work goes on without.
void ORVAAccountUserCache::setCachedUser(const std::shared_ptr<ORVAAccountUser>& user) {
  // Whoever is stored next ends it: only the writing of a start-up itself is meant.
  const auto restored = exchangeLastRestored({});
  if (!user) {
    // Even when another process holds on to the lock: a sign-out must not be lost. It leaves
    // nothing behind either, so it makes no folder: without one, nobody else has stored a user.
    const auto transaction = beginTransaction(MissingFolder::Leave);
    removeStoredUser(*userKeychain_);
    return;
  }
  const auto userBytes = archived(user);
  if (!userBytes) return;
  const auto transaction = beginTransaction(MissingFolder::Create);
  if (transaction.lockedByAnother) return;
  if (user == restored.user.lock() && !isStillStored(restored, *userKeychain_)) return;
  const auto uuid = installationUUID();
  if (!uuid) return;
  const Dictionary blob{{std::string(ORVAAccountUserUUIDKey), *uuid},
                        {std::string(ORVAAccountUserDataKey), *userBytes}};
  userKeychain_->setData_forKey(archivedDataWithRootObject(blob), ORVAAccountUserKeychainKey);
}

std::shared_ptr<ORVAAccountUser> ORVAAccountUserCache::cachedUser() {
  auto stored = readStoredUser(*userKeychain_);
  if (stored.state != StoredUser::State::Foreign) return restoredFrom(stored);
  // The two stores were read one after the other, and a sign-in of another process may have come
  // between. Only what is foreign while everyone else is kept out is removed.
  const auto transaction = beginTransaction(MissingFolder::Create);
  if (transaction.lockedByAnother) return nullptr;
  stored = readStoredUser(*userKeychain_);
  if (stored.state == StoredUser::State::Foreign) removeStoredUser(*userKeychain_);
  return restoredFrom(stored);
}

}  // namespace orx
