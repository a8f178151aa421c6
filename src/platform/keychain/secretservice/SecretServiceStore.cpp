#include "platform/keychain/secretservice/SecretServiceStore.h"

#include <new>
#include <system_error>

#include "platform/base/Limits.h"
#include "platform/keychain/secretservice/SessionBus.h"
#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

using Kind = SecretServiceFailure::Kind;

// What one operation does, on its own thread: everything it needs is its own, for the caller may
// have gone.
using Work = std::function<OSStatus(SecretServiceConnection&, SecretServiceCall&)>;

KeychainOutcome plainOutcome(OSStatus status) {
  return {.status = status, .text = {}, .path = {}, .remedy = {}};
}

KeychainOutcome carryOut(const Work& work, const std::string& address,
                         const std::shared_ptr<SecretServiceCall>& call) {
  try {
    SecretServiceConnection connection(address, call);
    return plainOutcome(work(connection, *call));
  } catch (const SecretServiceFailure& failure) {
    return outcomeOf(failure);
  } catch (const std::bad_alloc&) {
    return outcomeOf(SecretServiceFailure{Kind::TooLarge, {}});
  }
}

KeychainOutcome perform(Work work, Deadline deadline) {
  const auto address = sessionBusAddress();
  if (!address) return outcomeOf(SecretServiceFailure{Kind::NoBus, {}});
  try {
    SecretServiceConnection::requireLibrary();
    const auto call = std::make_shared<SecretServiceCall>(deadline);
    startBackgroundThread([work = std::move(work), address = *address, call] {
      call->finish(carryOut(work, address, call));
    });
    if (auto outcome = call->wait()) return *outcome;
    return outcomeOf(SecretServiceFailure{Kind::Silent, {}});
  } catch (const SecretServiceFailure& failure) {
    return outcomeOf(failure);
  } catch (const std::system_error&) {
    return outcomeOf(SecretServiceFailure{Kind::OutOfResources, {}});
  }
}

bool isTooLarge(const Data& bytes) { return bytes.size() > limits::keyringSecretSize / 2; }

}  // namespace

SecretServiceStore::SecretServiceStore(PromptRules rules)
    : rules_(std::make_shared<PromptRules>(std::move(rules))) {}

KeychainOutcome SecretServiceStore::add(const KeychainItem& item, const Data& bytes,
                                        Deadline deadline) {
  if (isTooLarge(bytes)) return outcomeOf(SecretServiceFailure{Kind::TooLarge, {}});
  return perform(
      [=, rules = rules_](SecretServiceConnection& connection, SecretServiceCall& call) {
        SecretServiceItems items(connection, call, *rules, item);
        return items.create(bytes) ? errSecSuccess : errSecDuplicateItem;
      },
      deadline);
}

KeychainOutcome SecretServiceStore::update(const KeychainItem& item, const Data& bytes,
                                           Deadline deadline) {
  if (isTooLarge(bytes)) return outcomeOf(SecretServiceFailure{Kind::TooLarge, {}});
  return perform(
      [=, rules = rules_](SecretServiceConnection& connection, SecretServiceCall& call) {
        SecretServiceItems items(connection, call, *rules, item);
        return items.replace(bytes) ? errSecSuccess : errSecItemNotFound;
      },
      deadline);
}

// As one operation, so that a prompt on the way leaves time for both steps.
KeychainOutcome SecretServiceStore::put(const KeychainItem& item, const Data& bytes,
                                        Deadline deadline) {
  if (isTooLarge(bytes)) return outcomeOf(SecretServiceFailure{Kind::TooLarge, {}});
  return perform(
      [=, rules = rules_](SecretServiceConnection& connection, SecretServiceCall& call) {
        SecretServiceItems items(connection, call, *rules, item);
        return items.replace(bytes) || items.create(bytes) ? errSecSuccess : errSecDuplicateItem;
      },
      deadline);
}

KeychainOutcome SecretServiceStore::remove(const KeychainItem& item, Deadline deadline) {
  return perform(
      [=, rules = rules_](SecretServiceConnection& connection, SecretServiceCall& call) {
        SecretServiceItems items(connection, call, *rules, item);
        return items.remove() ? errSecSuccess : errSecItemNotFound;
      },
      deadline);
}

KeychainOutcome SecretServiceStore::copy(const KeychainItem& item, Deadline deadline,
                                         std::optional<Data>& bytes) {
  const auto found = std::make_shared<std::optional<Data>>();
  auto outcome = perform(
      [=, rules = rules_](SecretServiceConnection& connection, SecretServiceCall& call) {
        SecretServiceItems items(connection, call, *rules, item);
        *found = items.read();
        return *found ? errSecSuccess : errSecItemNotFound;
      },
      deadline);
  if (outcome.status == errSecSuccess) bytes = std::move(*found);
  return outcome;
}

KeychainOutcome SecretServiceStore::probe(Deadline deadline) {
  return perform([](SecretServiceConnection&, SecretServiceCall&) { return errSecSuccess; },
                 deadline);
}

}  // namespace orx::platform
