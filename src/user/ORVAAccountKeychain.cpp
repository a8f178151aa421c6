#include <ORXAccount/ORVAAccountKeychain.h>

#include "platform/keychain/SecItemFunctions.h"

namespace orx {

using namespace platform;

std::shared_ptr<ORVAAccountKeychain> ORVAAccountKeychain::initWithServiceID(
    std::string_view serviceID) {
  return std::shared_ptr<ORVAAccountKeychain>(new ORVAAccountKeychain(serviceID));
}

Dictionary ORVAAccountKeychain::queryWithKey(std::string_view key) const {
  return {
      {kSecClass, kSecClassGenericPassword}, {kSecAttrService, serviceID_}, {kSecAttrAccount, key}};
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
  if (!key) return std::nullopt;
  auto query = queryWithKey(*key);
  query.set(kSecReturnData, true);
  query.set(kSecMatchLimit, kSecMatchLimitOne);
  std::optional<Value> result;
  if (SecItemCopyMatching(query, result) != errSecSuccess) return std::nullopt;
  if (!result || result->data() == nullptr) return std::nullopt;
  return *result->data();
}

}  // namespace orx
