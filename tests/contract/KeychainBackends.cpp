// SPDX-License-Identifier: MIT
#include "contract/KeychainBackends.h"

#include <cstdlib>
#include <filesystem>

#include "platform/keychain/PolicyKeychainStore.h"
#include "support/PrivateBus.h"

namespace orx::testing {

using namespace platform;

namespace {

std::shared_ptr<KeychainStore> storeUnder(KeychainPolicy policy) {
  setKeychainPolicy(policy);
  return keychainStoreOfHost();
}

// A session bus with a service in the current storage home, started when the first store is made
// there.
template <typename Service>
class Session {
 public:
  void require() {
    const std::filesystem::path home = std::filesystem::path(getenv("XDG_DATA_HOME")).parent_path();
    if (home == home_) return;
    service_.reset();
    bus_.reset();
    home_ = home;
    bus_.emplace(home);
    service_.emplace(home);
    if constexpr (requires { service_->start(); }) service_->start();
  }

 private:
  std::filesystem::path home_;
  std::optional<PrivateBus> bus_;
  std::optional<Service> service_;
};

template <typename Service>
std::shared_ptr<KeychainStore> storeOver() {
  static Session<Service> session;
  session.require();
  return storeUnder(KeychainPolicy::SecretServiceOnly);
}

}  // namespace

const std::vector<KeychainBackend>& keychainBackends() {
  static const std::vector<KeychainBackend> backends{
      {.name = "File",
       .make =
           [] {
             return std::make_shared<PolicyKeychainStore>(PolicyKeychainStore::Stores(),
                                                          [] { return KeychainPolicy::FileOnly; });
           },
       .place = "file"},
      {.name = "FileByPolicy",
       .make = [] { return storeUnder(KeychainPolicy::FileOnly); },
       .place = "file"},
      {.name = "FileWithoutSession",
       .make = [] { return storeUnder(KeychainPolicy::PreferSecretService); },
       .place = "file"},
      {.name = "GnomeKeyring", .make = storeOver<GnomeKeyring>, .place = "secret-service"},
      {.name = "ScriptedService", .make = storeOver<ScriptedService>, .place = "secret-service"},
  };
  return backends;
}

}  // namespace orx::testing
