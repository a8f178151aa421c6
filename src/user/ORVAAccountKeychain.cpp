// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountKeychain.h>

#include <string>

#include "platform/keychain/SecItemFunctions.h"

namespace orx {

using namespace platform;

struct ORVAAccountKeychain::State {
  std::string serviceID;
};

ORVAAccountKeychain::ORVAAccountKeychain(std::string_view serviceID)
    : state_(std::make_unique<State>(State{std::string(serviceID)})) {}

ORVAAccountKeychain::~ORVAAccountKeychain() = default;

std::shared_ptr<ORVAAccountKeychain> ORVAAccountKeychain::initWithServiceID(
    std::string_view serviceID) {
  return std::shared_ptr<ORVAAccountKeychain>(new ORVAAccountKeychain(serviceID));
}

Dictionary ORVAAccountKeychain::queryWithKey(std::string_view key) const {
  return {{kSecClass, kSecClassGenericPassword},
          {kSecAttrService, state_->serviceID},
          {kSecAttrAccount, key}};
}

bool ORVAAccountKeychain::setData_forKey(const std::optional<Data>& data,
                                         std::optional<std::string_view> key) {
  if (!key) return false;
  auto query = queryWithKey(*key);
  if (!data) {
    const auto status = SecItemDelete(query);
    return status == errSecSuccess || status == errSecItemNotFound;
  }
  auto status = SecItemUpdate(query, {{kSecValueData, *data}});
  if (status == errSecItemNotFound) {
    query.set(kSecValueData, *data);
    status = SecItemAdd(query);
  }
  return status == errSecSuccess;
}

std::optional<Data> ORVAAccountKeychain::dataForKey(std::optional<std::string_view> key) const {
  std::optional<Data> data;
  if (key) copyData_forKey(data, *key);
  return data;
}

OSStatus ORVAAccountKeychain::copyData_forKey(std::optional<Data>& data,
                                              std::string_view key) const {
  data.reset();
  auto query = queryWithKey(key);
  query.set(kSecReturnData, true);
  query.set(kSecMatchLimit, kSecMatchLimitOne);
  std::optional<Value> result;
  const OSStatus status = SecItemCopyMatching(query, result);
  if (result && result->data() != nullptr) data = *result->data();
  return status;
}

}  // namespace orx
