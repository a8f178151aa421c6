#include "platform/keychain/secretservice/SecretServiceStore.h"

#include <functional>
#include <new>
#include <system_error>

#include "platform/base/Limits.h"
#include "platform/keychain/secretservice/SecretServiceItems.h"
#include "platform/keychain/secretservice/SessionBus.h"
#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

using Kind = SecretServiceFailure::Kind;
using Rules = std::shared_ptr<const PromptRules>;

// The steps of one operation. They run on a thread of their own, perhaps when the caller has given
// up already, and so refer to nothing of the caller's.
using Work = std::function<Result<Data>(SecretServiceItems&)>;

Failure failureOf(Kind kind) { return keychainFailure(SecretServiceFailure{kind, {}}); }

Result<Data> carryOut(const Work& work, const std::string& address,
                      const std::shared_ptr<SecretServiceCall>& call, const PromptRules& rules,
                      const KeychainItem& item) {
  try {
    SecretServiceConnection connection(address, call);
    SecretServiceItems items(connection, *call, rules, item);
    return work(items);
  } catch (const SecretServiceFailure& failure) {
    return keychainFailure(failure);
  } catch (const std::bad_alloc&) {
    return failureOf(Kind::TooLarge);
  }
}

Result<Data> perform(const Rules& rules, const KeychainItem& item, Deadline deadline,
                     const Work& work) {
  const auto address = sessionBusAddress();
  if (!address) return failureOf(Kind::NoBus);
  try {
    SecretServiceConnection::requireLibrary();
    const auto call = std::make_shared<SecretServiceCall>(deadline);
    startBackgroundThread([work, address = *address, call, rules, item] {
      call->finish(carryOut(work, address, call, *rules, item));
    });
    return call->wait().value_or(failureOf(Kind::Silent));
  } catch (const SecretServiceFailure& failure) {
    return keychainFailure(failure);
  } catch (const std::system_error&) {
    return failureOf(Kind::OutOfResources);
  }
}

// An operation that does something and reads nothing: `step` says whether it could, and `otherwise`
// is the status where it could not.
Result<void> change(const Rules& rules, const KeychainItem& item, Deadline deadline,
                    OSStatus otherwise, const std::function<bool(SecretServiceItems&)>& step) {
  const auto done = perform(rules, item, deadline, [=](auto& items) -> Result<Data> {
    if (!step(items)) return keychainFailure(otherwise);
    return Data();
  });
  if (!done) return Failure(done.error());
  return {};
}

Result<void> write(const Rules& rules, const KeychainItem& item, const Data& bytes,
                   Deadline deadline, OSStatus otherwise,
                   bool (*step)(SecretServiceItems&, const Data&)) {
  // Written in Base64, four characters for three bytes, with room for the item's name.
  if (bytes.size() > limits::keyringSecretSize / 2) return failureOf(Kind::TooLarge);
  return change(rules, item, deadline, otherwise, [=](auto& items) { return step(items, bytes); });
}

}  // namespace

SecretServiceStore::SecretServiceStore(PromptRules rules)
    : rules_(std::make_shared<PromptRules>(std::move(rules))) {}

Result<void> SecretServiceStore::probe(Deadline deadline) {
  return change(rules_, {}, deadline, errSecSuccess, [](auto&) { return true; });
}

Result<void> SecretServiceStore::add(const KeychainItem& item, const Data& bytes,
                                     Deadline deadline) {
  return write(rules_, item, bytes, deadline, errSecDuplicateItem,
               [](auto& items, const Data& data) { return items.create(data); });
}

Result<void> SecretServiceStore::update(const KeychainItem& item, const Data& bytes,
                                        Deadline deadline) {
  return write(rules_, item, bytes, deadline, errSecItemNotFound,
               [](auto& items, const Data& data) { return items.replace(data); });
}

// As one operation, so that a prompt on the way leaves time for both steps.
Result<void> SecretServiceStore::put(const KeychainItem& item, const Data& bytes,
                                     Deadline deadline) {
  return write(
      rules_, item, bytes, deadline, errSecDuplicateItem,
      [](auto& items, const Data& data) { return items.replace(data) || items.create(data); });
}

Result<void> SecretServiceStore::remove(const KeychainItem& item, Deadline deadline) {
  return change(rules_, item, deadline, errSecItemNotFound,
                [](auto& items) { return items.remove(); });
}

Result<void> SecretServiceStore::removeQuietly(const KeychainItem& item, Deadline deadline) {
  const PromptRules nobody{.mayPrompt = [] { return PromptRules::Answer::Forbidden; },
                           .noteDismissed = [] {}};
  return SecretServiceStore(nobody).remove(item, deadline);
}

Result<Data> SecretServiceStore::copy(const KeychainItem& item, Deadline deadline) {
  return perform(rules_, item, deadline, [](auto& items) -> Result<Data> {
    if (auto found = items.read()) return *found;
    return keychainFailure(errSecItemNotFound);
  });
}

}  // namespace orx::platform
