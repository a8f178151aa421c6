#include "platform/keychain/KeychainStatus.h"

#include "platform/process/ForkSafety.h"
#include "platform/storage/UserDefaults.h"

namespace orx {

using namespace platform;

namespace {

struct Record {
  KeychainOutcome keychain;
  KeychainOutcome defaults;
};

Record& record() {
  static constinit ProcessWide<Record> instance;
  return instance.get();
}

bool isProblem(OSStatus status) {
  return status != errSecSuccess && status != errSecItemNotFound && status != errSecDuplicateItem;
}

void exchange(KeychainOutcome& place, KeychainOutcome outcome) {
  const BriefSection section;
  std::swap(place, outcome);
}

}  // namespace

KeychainStatus keychainStatus() {
  KeychainStatus status;
  status.store = keychainStoreInForce()->name();
  const Record& noted = record();
  const BriefSection section;
  const auto& keychain = noted.keychain;
  if (!keychain.store.empty()) status.store = keychain.store;
  const auto& outcome = keychain.status != errSecSuccess ? keychain : noted.defaults;
  status.locked =
      outcome.status == errSecInteractionNotAllowed || outcome.status == errSecAuthFailed;
  status.lastError = outcome.status;
  status.description = outcome.text;
  status.path = outcome.path;
  status.remedy = outcome.remedy;
  return status;
}

void platform::noteKeychainOutcome(const KeychainOutcome& outcome) {
  KeychainOutcome noted;
  if (isProblem(outcome.status)) noted = outcome;
  noted.store = outcome.store;
  exchange(record().keychain, std::move(noted));
}

void platform::noteDefaultsOutcome(const std::shared_ptr<Error>& error) {
  KeychainOutcome outcome;
  if (error) {
    const auto text = [&](std::string_view key) {
      return error->userInfo()[key].text().value_or(std::string());
    };
    outcome = {.status = error->code() == NSPropertyListReadCorruptError ? errSecDecode : errSecIO,
               .text = error->localizedDescription(),
               .path = text(NSFilePathErrorKey),
               .remedy = text(NSLocalizedRecoverySuggestionErrorKey)};
  }
  exchange(record().defaults, std::move(outcome));
}

}  // namespace orx
