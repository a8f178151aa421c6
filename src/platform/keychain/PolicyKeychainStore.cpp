#include "platform/keychain/PolicyKeychainStore.h"

#include "platform/keychain/KeychainSettings.h"
#include "platform/keychain/file/FileKeychainStore.h"
#include "platform/keychain/secretservice/SecretServiceStore.h"

namespace orx::platform {

namespace {

using Missing = StoredDirectory::Missing;

// Not the file store's own: that one is taken while this is held.
constexpr const char* lockName = "state.lock";

KeychainOutcome plainOutcome(OSStatus status) {
  return {.status = status, .text = {}, .path = {}, .remedy = {}};
}

KeychainOutcome about(std::string_view store, KeychainOutcome outcome) {
  outcome.store = store;
  return outcome;
}

bool isGone(const KeychainOutcome& outcome) {
  return outcome.status == errSecSuccess || outcome.status == errSecItemNotFound;
}

// Whether the store surely has not written anything. A keyring that says that it is locked may have
// written first, and have been locked since.
bool surelyWroteNothing(const KeychainOutcome& outcome) {
  return outcome.storeMissing || outcome.status == errSecDuplicateItem;
}

KeychainOutcome missingIn(const KeychainStore& store) {
  return about(store.name(), plainOutcome(errSecItemNotFound));
}

KeychainOutcome excludedByPolicy(std::string_view store) {
  return {.status = errSecNotAvailable,
          .text = "The item is kept in the store " + std::string(store) +
                  ", which the application does not use.",
          .path = {},
          .remedy = "Let the application use that store, or sign in again."};
}

KeychainOutcome damagedRecord(const std::string& path) {
  return {.status = errSecDecode,
          .text = path + " is damaged.",
          .path = path,
          .remedy = "The next sign-in replaces it; nothing needs to be removed."};
}

}  // namespace

// What is known about an item, and, once entered, the right to change it.
struct PolicyKeychainStore::Scene {
  std::string recordName;
  std::optional<StoredDirectory> directory = {};
  std::optional<FileLock> lock = {};
  std::optional<FileProblem> problem = {};
  KeychainRecordReading reading = {};
  // Whether anything says where the newest version is, and what that is.
  bool known = false;
  KeychainRecord record = {};

  void read(const KeychainItem& item) {
    if (problem || !directory) return;
    reading = readKeychainRecord(*directory, recordName);
    problem = reading.problem;
    if (problem) return;
    known = reading.record || reading.damaged;
    if (reading.record) record = *reading.record;
    // Nothing that a damaged record may have meant is to come back.
    if (reading.damaged) record = {.staleInSecretService = true, .staleInFile = true};
    if (known) return;
    const auto presence = directory->presenceOf(FileKeychainStore::fileNameOf(item));
    problem = presence.problem;
    known = presence.present;
    if (known) record.newest = Place::File;
  }

  // Records what is the case from now on.
  FileOutcome note(const KeychainRecord& next) {
    if (reading.record == next) return std::nullopt;
    if (auto failed = writeKeychainRecord(*directory, recordName, next)) return failed;
    record = next;
    reading = {.record = next, .damaged = false, .problem = {}};
    return std::nullopt;
  }
};

struct PolicyKeychainStore::Change {
  const KeychainItem& item;
  const Data& bytes;
  Deadline deadline;
  Condition condition;
};

PolicyKeychainStore::PolicyKeychainStore(Stores stores, std::function<KeychainPolicy()> policy)
    : stores_(std::move(stores)), policy_(std::move(policy)) {}

std::shared_ptr<PolicyKeychainStore> PolicyKeychainStore::ofHost() {
  return std::make_shared<PolicyKeychainStore>(
      Stores{.secretService = std::make_shared<SecretServiceStore>(promptRulesOfHost()),
             .quietSecretService = std::make_shared<SecretServiceStore>(promptRulesOfNobody()),
             .file = std::make_shared<FileKeychainStore>()},
      keychainPolicy);
}

std::string_view PolicyKeychainStore::name() const noexcept {
  const bool file = policy_() == KeychainPolicy::FileOnly;
  return (file ? stores_.file : stores_.secretService)->name();
}

std::string PolicyKeychainStore::recordNameOf(const KeychainItem& item) {
  const auto name = FileKeychainStore::fileNameOf(item);
  return name.substr(0, name.rfind('.')) + ".state";
}

KeychainStore& PolicyKeychainStore::storeAt(Place place) const {
  return place == Place::File ? *stores_.file : *stores_.secretService;
}

PolicyKeychainStore::Scene PolicyKeychainStore::open(const KeychainItem& item,
                                                     Missing missing) const {
  Scene scene{.recordName = recordNameOf(item)};
  auto opening = openKeychainDirectory(missing);
  scene.directory = std::move(opening.directory);
  // Without a home, nothing of ours is anywhere but in the keyring.
  const bool homeless = opening.problem && opening.problem->path.empty();
  if (!homeless || missing == Missing::Create) scene.problem = std::move(opening.problem);
  return scene;
}

PolicyKeychainStore::Scene PolicyKeychainStore::look(const KeychainItem& item) const {
  auto scene = open(item, Missing::Leave);
  scene.read(item);
  return scene;
}

PolicyKeychainStore::Scene PolicyKeychainStore::enter(const KeychainItem& item, Missing missing,
                                                      Deadline deadline) const {
  auto scene = open(item, missing);
  if (scene.directory) {
    auto taking = scene.directory->lock(lockName, deadline);
    scene.problem = std::move(taking.problem);
    if (taking.lock) scene.lock.emplace(std::move(*taking.lock));
  }
  scene.read(item);
  return scene;
}

KeychainOutcome PolicyKeychainStore::copy(const KeychainItem& item, Deadline deadline,
                                          std::optional<Data>& bytes) {
  // Without the lock: whoever moves the item meanwhile changes the record.
  while (true) {
    bytes.reset();
    const auto scene = look(item);
    if (scene.problem) return about(stores_.file->name(), outcomeOf(scene.problem));
    auto outcome = copyFrom(scene, item, deadline, bytes);
    if (scene.reading == look(item).reading) {
      if (scene.record.hasStale() && !scene.reading.damaged) tidyAfterReading(item, deadline);
      return outcome;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      bytes.reset();
      return about(stores_.file->name(),
                   outcomeOf(lockedByAnother(scene.directory->pathOf(scene.recordName))));
    }
  }
}

KeychainOutcome PolicyKeychainStore::copyFrom(const Scene& scene, const KeychainItem& item,
                                              Deadline deadline, std::optional<Data>& bytes) const {
  if (scene.reading.damaged) {
    return about(stores_.file->name(), damagedRecord(scene.directory->pathOf(scene.recordName)));
  }
  const auto policy = policy_();
  if (!scene.known) {
    if (policy == KeychainPolicy::FileOnly) return missingIn(*stores_.file);
    const auto outcome = stores_.secretService->copy(item, deadline, bytes);
    const bool standsIn = outcome.storeMissing && policy != KeychainPolicy::SecretServiceOnly;
    return standsIn ? missingIn(*stores_.file) : about(stores_.secretService->name(), outcome);
  }
  const auto place = scene.record.newest;
  if (place == Place::Nowhere) return plainOutcome(errSecItemNotFound);
  const auto& store = storeAt(place);
  const auto excluding =
      place == Place::File ? KeychainPolicy::SecretServiceOnly : KeychainPolicy::FileOnly;
  if (policy == excluding) return about(store.name(), excludedByPolicy(store.name()));
  return about(store.name(), storeAt(place).copy(item, deadline, bytes));
}

KeychainOutcome PolicyKeychainStore::add(const KeychainItem& item, const Data& bytes,
                                         Deadline deadline) {
  return write(
      {.item = item, .bytes = bytes, .deadline = deadline, .condition = Condition::MustBeAbsent});
}

KeychainOutcome PolicyKeychainStore::update(const KeychainItem& item, const Data& bytes,
                                            Deadline deadline) {
  return write(
      {.item = item, .bytes = bytes, .deadline = deadline, .condition = Condition::MustExist});
}

KeychainOutcome PolicyKeychainStore::write(const Change& change) const {
  const auto missing = change.condition == Condition::MustExist ? Missing::Leave : Missing::Create;
  auto scene = enter(change.item, missing, change.deadline);
  if (scene.problem) return about(stores_.file->name(), outcomeOf(scene.problem));
  auto target = Place::SecretService;
  const auto policy = policy_();
  if (policy == KeychainPolicy::FileOnly) target = Place::File;
  if (policy == KeychainPolicy::PreferSecretService) {
    const auto probed = stores_.secretService->probe(change.deadline);
    if (probed.storeMissing) {
      target = Place::File;
    } else if (probed.status != errSecSuccess) {
      return about(stores_.secretService->name(), probed);
    }
  }
  return about(storeAt(target).name(), writeTo(target, scene, change));
}

KeychainOutcome PolicyKeychainStore::writeTo(Place target, Scene& scene,
                                             const Change& change) const {
  if (!scene.known) return writeFirst(target, scene, change);
  if (scene.record.newest == target) {
    auto outcome = writeIn(target, change);
    if (outcome.status == errSecSuccess) tidy(scene, change.item, change.deadline);
    return outcome;
  }
  const bool exists = isReplaceable(scene.record.newest, change);
  if (change.condition == Condition::MustExist && !exists) return plainOutcome(errSecItemNotFound);
  if (change.condition == Condition::MustBeAbsent && exists) {
    return plainOutcome(errSecDuplicateItem);
  }
  return move(target, scene, change);
}

// Nothing is recorded and there is no file. A service can still hold the item, of an earlier home
// directory for instance.
KeychainOutcome PolicyKeychainStore::writeFirst(Place target, Scene& scene,
                                                const Change& change) const {
  if (change.condition == Condition::MustBeAbsent) {
    return target == Place::File ? writeIn(target, change) : move(target, scene, change);
  }
  if (target == Place::File) return plainOutcome(errSecItemNotFound);
  auto outcome = writeIn(target, change);
  if (outcome.status != errSecSuccess) return outcome;
  // Best effort: without the record, only a session without a service would not know of the item.
  if (scene.directory) {
    scene.note({.newest = target});
  } else {
    auto made = enter(change.item, Missing::Create, change.deadline);
    if (made.directory && !made.problem && !made.known) made.note({.newest = target});
  }
  return outcome;
}

KeychainOutcome PolicyKeychainStore::writeIn(Place place, const Change& change) const {
  auto& store = storeAt(place);
  if (change.condition == Condition::MustExist) {
    return store.update(change.item, change.bytes, change.deadline);
  }
  return store.add(change.item, change.bytes, change.deadline);
}

// Whatever is there, as long as it is not surely nothing.
bool PolicyKeychainStore::isReplaceable(Place place, const Change& change) const {
  if (place == Place::Nowhere) return false;
  // Out of reach, but recorded.
  if (place == Place::SecretService) return true;
  std::optional<Data> bytes;
  const auto outcome = stores_.file->copy(change.item, change.deadline, bytes);
  return outcome.status != errSecItemNotFound;
}

KeychainOutcome PolicyKeychainStore::move(Place target, Scene& scene, const Change& change) const {
  const auto before = scene.record;
  const bool wasKnown = scene.known;
  auto meanwhile = before;
  (target == Place::File ? meanwhile.staleInFile : meanwhile.staleInSecretService) = true;
  if (auto failed = scene.note(meanwhile)) return outcomeOf(failed);

  // What nobody has recorded yet may still be there, and is then not to be overwritten unasked.
  auto outcome = wasKnown ? storeAt(target).put(change.item, change.bytes, change.deadline)
                          : writeIn(target, change);
  if (outcome.status != errSecSuccess) {
    // Best effort: a record that stays only makes later calls look for a copy that is not there.
    if (surelyWroteNothing(outcome)) scene.note(before);
    return outcome;
  }
  KeychainRecord after{.newest = target,
                       .staleInSecretService = before.staleInSecretService,
                       .staleInFile = before.staleInFile};
  if (before.newest == Place::SecretService) after.staleInSecretService = true;
  if (before.newest == Place::File) after.staleInFile = true;
  (target == Place::File ? after.staleInFile : after.staleInSecretService) = false;
  if (auto failed = scene.note(after)) return outcomeOf(failed);
  tidy(scene, change.item, change.deadline);
  return outcome;
}

KeychainOutcome PolicyKeychainStore::remove(const KeychainItem& item, Deadline deadline) {
  auto scene = enter(item, Missing::Leave, deadline);
  if (scene.problem) return about(stores_.file->name(), outcomeOf(scene.problem));
  // Wherever the item is: a writer that died may have left its bytes here.
  if (scene.directory) scene.directory->sweepTemporaryFiles();
  if (!scene.known) return removeUnrecorded(item, deadline);
  const auto place = scene.record.newest;
  if (place != Place::Nowhere) return removeFrom(place, scene, item, deadline);
  // Also where the record was damaged: from here on it says that there is nothing.
  if (auto failed = scene.note(scene.record)) return outcomeOf(failed);
  tidy(scene, item, deadline);
  return plainOutcome(errSecItemNotFound);
}

KeychainOutcome PolicyKeychainStore::removeUnrecorded(const KeychainItem& item,
                                                      Deadline deadline) const {
  const auto policy = policy_();
  if (policy != KeychainPolicy::FileOnly) {
    const auto outcome = stores_.secretService->remove(item, deadline);
    const bool standsIn = outcome.storeMissing && policy != KeychainPolicy::SecretServiceOnly;
    if (!standsIn) return about(stores_.secretService->name(), outcome);
  }
  return about(stores_.file->name(), stores_.file->remove(item, deadline));
}

KeychainOutcome PolicyKeychainStore::removeFrom(Place place, Scene& scene, const KeychainItem& item,
                                                Deadline deadline) const {
  auto after = scene.record;
  after.newest = Place::Nowhere;
  auto outcome = plainOutcome(errSecSuccess);
  const bool unused = place == Place::SecretService && policy_() == KeychainPolicy::FileOnly;
  if (!unused) outcome = about(storeAt(place).name(), storeAt(place).remove(item, deadline));
  if (unused || outcome.storeMissing) {
    // Out of reach: from here on stale, and removed when it can be reached.
    outcome = plainOutcome(errSecSuccess);
    after.staleInSecretService = true;
  } else if (!isGone(outcome)) {
    return outcome;
  }
  if (auto failed = scene.note(after)) return about(stores_.file->name(), outcomeOf(failed));
  tidy(scene, item, deadline);
  // A copy that no record knows of, as with the data directory of another time.
  if (place == Place::File && policy_() != KeychainPolicy::FileOnly) {
    stores_.quietSecretService->remove(item, deadline);
  }
  return outcome;
}

void PolicyKeychainStore::tidy(Scene& scene, const KeychainItem& item, Deadline deadline) const {
  auto after = scene.record;
  if (after.staleInFile && isGone(stores_.file->remove(item, deadline))) after.staleInFile = false;
  if (after.staleInSecretService && policy_() != KeychainPolicy::FileOnly &&
      isGone(stores_.quietSecretService->remove(item, deadline))) {
    after.staleInSecretService = false;
  }
  // What could not be recorded is tried again by the next call.
  if (after != scene.record) scene.note(after);
}

void PolicyKeychainStore::tidyAfterReading(const KeychainItem& item, Deadline deadline) const {
  // Whoever holds the lock is about to do the same.
  auto scene = enter(item, Missing::Leave, std::chrono::steady_clock::now());
  if (!scene.problem && scene.known && !scene.reading.damaged) tidy(scene, item, deadline);
}

}  // namespace orx::platform
