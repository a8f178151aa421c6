#include "contract/KeychainBackends.h"

#include "platform/FileKeychainStore.h"

namespace orx::testing {

const std::vector<KeychainBackend>& keychainBackends() {
  static const std::vector<KeychainBackend> backends{
      {.name = "File", .make = [] { return std::make_shared<FileKeychainStore>(); }},
  };
  return backends;
}

}  // namespace orx::testing
