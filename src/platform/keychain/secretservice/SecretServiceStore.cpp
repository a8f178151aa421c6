// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/SecretServiceStore.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <new>
#include <system_error>

#include "platform/keychain/secretservice/SecretServiceItems.h"
#include "platform/process/Signals.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Rules = std::shared_ptr<const PromptRules>;

// The steps of one operation. They run on a thread of their own, perhaps when the caller has given
// up already, and so refer to nothing of the caller's.
using Work = std::function<Data(SecretServiceItems&)>;

bool isOwnSocket(const std::string& path) {
  struct stat file {};
  return stat(path.c_str(), &file) == 0 && S_ISSOCK(file.st_mode) && file.st_uid == geteuid();
}

// Secrets are handed over unencrypted, so each of the places that the address lists must be a
// socket of this machine: "tcp:" would send them over a network, "unixexec:" to whatever program it
// names.
void requireLocalSocket(std::string_view address) {
  while (!address.empty()) {
    const auto end = std::min(address.find(';'), address.size());
    if (!address.starts_with("unix:")) {
      throw SecretServiceFailure{failures::BusUnusable, "its address is not a local socket's"};
    }
    address.remove_prefix(std::min(end + 1, address.size()));
  }
}

// The address of the user's session bus, as the environment and the runtime directory name it. Read
// at each operation; absent where neither names one. No bus is ever started. Throws for one that
// may not be used.
std::optional<std::string> sessionBusAddress() {
  if (const char* address = secure_getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) {
    // The first says that the bus is switched off. The second asks for one to be started, which a
    // library must not do.
    const std::string_view text = address;
    if (text.starts_with("disabled:") || text.starts_with("autolaunch:")) return std::nullopt;
    requireLocalSocket(text);
    return address;
  }
  const char* directory = secure_getenv("XDG_RUNTIME_DIR");
  if (directory == nullptr || directory[0] != '/') return std::nullopt;
  const auto path = std::string(directory) + "/bus";
  if (!isOwnSocket(path)) return std::nullopt;
  // What a path inside an address may hold as it is.
  constexpr std::string_view plain =
      "-_/.\\*0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return "unix:path=" + percentEncoded(path, plain);
}

Failure failureOf(const SecretServiceFailure& failure) {
  const auto& [status, text, remedy] = failure.kind;
  const auto detail = failure.detail.empty() ? std::string() : " (" + failure.detail + ")";
  return keychainFailure(status, std::string(text) + detail, {}, std::string(remedy));
}

// Runs on the operation's own thread, where nothing may be thrown further.
Result<Data> carryOut(const Work& work, const std::string& address,
                      const std::shared_ptr<SecretServiceCall>& call, const PromptRules& rules,
                      const KeychainItem& item) {
  try {
    SecretServiceConnection connection(address, call, rules);
    SecretServiceItems items(connection, item);
    return work(items);
  } catch (const SecretServiceFailure& failure) {
    return failureOf(failure);
  }
}

Result<Data> perform(const Rules& rules, const KeychainItem& item, Deadline deadline,
                     const Work& work) {
  try {
    // On the caller's thread: the host may change its environment once the call has returned.
    const auto address = sessionBusAddress();
    if (!address) return failureOf({failures::NoBus});
    requireSecretServiceLibrary();
    const auto call = std::make_shared<SecretServiceCall>(deadline);
    startBackgroundThread([work, address = *address, call, rules, item] {
      try {
        call->finish(carryOut(work, address, call, *rules, item));
      } catch (const std::bad_alloc&) {
        call->finishWithoutMemory();
      }
    });
    auto result = call->wait();
    // Not made in advance: without memory for it, what has been stored would be told as not.
    return result ? *std::move(result) : failureOf({failures::Silent});
  } catch (const SecretServiceFailure& failure) {
    return failureOf(failure);
  } catch (const std::system_error&) {
    return failureOf({failures::OutOfResources});
  }
}

// An operation that does something and reads nothing.
template <typename Step>
Result<void> change(const Rules& rules, const KeychainItem& item, Deadline deadline, Step step) {
  const auto work = [step](SecretServiceItems& items) {
    step(items);
    return Data();
  };
  return perform(rules, item, deadline, work).map([](const Data&) {});
}

}  // namespace

SecretServiceStore::SecretServiceStore(PromptRules rules)
    : rules_(std::make_shared<PromptRules>(std::move(rules))) {}

// The connection alone shows whether there is a service.
Result<void> SecretServiceStore::probe(Deadline deadline) {
  return change(rules_, {}, deadline, [](auto&) {});
}

Result<void> SecretServiceStore::add(const KeychainItem& item, const Data& bytes,
                                     Deadline deadline) {
  return change(rules_, item, deadline, [bytes](auto& items) { items.add(bytes); });
}

Result<void> SecretServiceStore::update(const KeychainItem& item, const Data& bytes,
                                        Deadline deadline) {
  return change(rules_, item, deadline, [bytes](auto& items) { items.update(bytes); });
}

// As one operation, so that a prompt on the way leaves time for both steps.
Result<void> SecretServiceStore::put(const KeychainItem& item, const Data& bytes,
                                     Deadline deadline) {
  return change(rules_, item, deadline, [bytes](auto& items) { items.put(bytes); });
}

Result<void> SecretServiceStore::remove(const KeychainItem& item, Deadline deadline) {
  return change(rules_, item, deadline, [](auto& items) { items.remove(); });
}

Result<void> SecretServiceStore::removeQuietly(const KeychainItem& item, Deadline deadline) {
  const PromptRules nobody{.mayPrompt = [] { return PromptRules::Answer::Forbidden; },
                           .noteDismissed = [] {}};
  return SecretServiceStore(nobody).remove(item, deadline);
}

Result<Data> SecretServiceStore::copy(const KeychainItem& item, Deadline deadline) {
  return perform(rules_, item, deadline, [](auto& items) { return items.read(); });
}

}  // namespace orx::platform
