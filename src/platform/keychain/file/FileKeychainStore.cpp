#include "platform/keychain/file/FileKeychainStore.h"

#include "platform/base/Limits.h"
#include "platform/keychain/KeychainItemFile.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Missing = StoredDirectory::Missing;

constexpr const char* lockName = "lock";
// Leaves room in the 255 bytes of a file name.
constexpr std::size_t longestPlainName = 200;

KeychainOutcome plainOutcome(OSStatus status) {
  return {.status = status, .text = {}, .path = {}, .remedy = {}};
}

// FNV-1a of 128 bits, in hexadecimal. It need not withstand an attacker: whoever can place files
// here is the user, and the file names its item in full.
std::string digestOf(std::string_view text) {
  using Wide = unsigned __int128;
  Wide digest = Wide{0x6C62272E07BB0142U} << 64U | 0x62B821756295C58DU;
  for (const char byte : text) {
    digest ^= static_cast<unsigned char>(byte);
    digest *= Wide{0x0000000001000000U} << 64U | 0x000000000000013BU;
  }
  std::string digits;
  for (unsigned shift = 128; shift > 0; shift -= 4) {
    digits += "0123456789abcdef"[static_cast<unsigned>(digest >> (shift - 4)) & 15U];
  }
  return digits;
}

}  // namespace

OSStatus statusOf(const FileProblem& problem) {
  switch (problem.kind) {
    case FileProblem::Kind::Refused:
      return errSecNotAvailable;
    case FileProblem::Kind::LockedByAnother:
    case FileProblem::Kind::System:
      return errSecIO;
  }
  return errSecIO;
}

KeychainOutcome outcomeOf(const FileOutcome& problem) {
  if (!problem) return {};
  return {.status = statusOf(*problem),
          .text = problem->text,
          .path = problem->path,
          .remedy = problem->remedy};
}

StoredDirectory::Opening openKeychainDirectory(Missing missing) {
  const auto home = dataHome();
  if (!home) return {.directory = {}, .problem = homelessness(dataHomeVariable)};
  return StoredDirectory::open(*home + "/orxaccount", StoredDirectory::Kind::Private, missing);
}

// The comma stands in no component, so different items never share a name.
std::string FileKeychainStore::fileNameOf(const KeychainItem& item) {
  auto name = pathComponent(item.service) + "," + pathComponent(item.account);
  if (name.size() > longestPlainName) name = "," + digestOf(name);
  return name + ".item";
}

KeychainOutcome FileKeychainStore::write(const KeychainItem& item, const Data& bytes,
                                         Deadline deadline, Condition condition) {
  const auto missing = condition == Condition::MustExist ? Missing::Leave : Missing::Create;
  const auto opening = openKeychainDirectory(missing);
  if (opening.problem) return outcomeOf(opening.problem);
  if (!opening.directory) return plainOutcome(errSecItemNotFound);
  const auto& directory = *opening.directory;
  const auto taking = directory.lock(lockName, deadline);
  if (taking.problem) return outcomeOf(taking.problem);

  const auto name = fileNameOf(item);
  const auto presence = directory.presenceOf(name);
  if (presence.problem) return outcomeOf(presence.problem);
  if (condition == Condition::MustExist && !presence.present) {
    return plainOutcome(errSecItemNotFound);
  }
  if (condition == Condition::MustBeAbsent && presence.present) {
    return plainOutcome(errSecDuplicateItem);
  }
  const auto stored = directory.read(name);
  const bool damaged = stored.bytes && !dataInFile(item, *stored.bytes);
  const auto previous =
      damaged ? StoredDirectory::Previous::KeepAside : StoredDirectory::Previous::Discard;
  return outcomeOf(directory.replace(name, fileContentOf(item, bytes), previous));
}

KeychainOutcome FileKeychainStore::add(const KeychainItem& item, const Data& bytes,
                                       Deadline deadline) {
  return write(item, bytes, deadline, Condition::MustBeAbsent);
}

KeychainOutcome FileKeychainStore::update(const KeychainItem& item, const Data& bytes,
                                          Deadline deadline) {
  return write(item, bytes, deadline, Condition::MustExist);
}

KeychainOutcome FileKeychainStore::remove(const KeychainItem& item, Deadline deadline) {
  const auto opening = openKeychainDirectory(Missing::Leave);
  if (opening.problem) return outcomeOf(opening.problem);
  if (!opening.directory) return plainOutcome(errSecItemNotFound);
  const auto taking = opening.directory->lock(lockName, deadline);
  if (taking.problem) return outcomeOf(taking.problem);

  const auto& directory = *opening.directory;
  const auto name = fileNameOf(item);
  const auto presence = directory.presenceOf(name);
  auto problem = presence.problem;
  if (!problem && presence.present) problem = directory.remove(name);
  // Also where the item is gone already: its bytes may lie where a writer died or aside.
  const auto sweeping = directory.sweepTemporaryFiles();
  const auto removing = directory.removeKeptAside(name);
  for (const auto& trace : {sweeping, removing}) {
    if (!problem) problem = trace;
  }
  if (!problem && !presence.present) return plainOutcome(errSecItemNotFound);
  return outcomeOf(problem);
}

KeychainOutcome FileKeychainStore::copy(const KeychainItem& item, Deadline /*deadline*/,
                                        std::optional<Data>& bytes) {
  // Without the lock: a file is replaced in one step.
  const auto opening = openKeychainDirectory(Missing::Leave);
  if (opening.problem) return outcomeOf(opening.problem);
  if (!opening.directory) return plainOutcome(errSecItemNotFound);
  const auto name = fileNameOf(item);
  const auto reading = opening.directory->read(name);
  if (reading.problem) return outcomeOf(reading.problem);
  if (!reading.bytes) return plainOutcome(errSecItemNotFound);
  bytes = dataInFile(item, *reading.bytes);
  if (bytes) return {};
  const auto path = opening.directory->pathOf(name);
  return {.status = errSecDecode,
          .text = path + " is damaged.",
          .path = path,
          .remedy = "The next sign-in sets it aside; nothing needs to be removed."};
}

}  // namespace orx::platform
