#pragma once

#include <string>
#include <string_view>

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// Why an operation on the Secret Service did not happen. Thrown on the thread that talks to the
// service and caught there.
struct SecretServiceFailure {
  enum class Kind {
    // No service exists.
    NoLibrary,
    NoBus,
    NoService,
    // There may be one, but it cannot be used.
    Forked,
    BusUnusable,
    NotStarted,
    Silent,
    Died,
    Refused,
    Misunderstood,
    // It works, but does not give the item.
    Locked,
    DismissedBefore,
    Dismissed,
    Unanswered,
    NoCollection,
    Vanished,
    Damaged,
    NotKept,
    NotRemoved,
    TooLarge,
    OutOfResources,
  };
  Kind kind;
  std::string detail;  // what the service or the library said; may be empty
};

// What an error that came over the bus means; `name` is the one of D-Bus.
SecretServiceFailure failureNamed(std::string_view name, std::string_view message);

// What callers and people are told of it, from the one table of all of them.
Failure keychainFailure(const SecretServiceFailure& failure);

}  // namespace orx::platform
