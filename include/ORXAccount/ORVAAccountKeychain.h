// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/SecItem.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <optional>
#include <string_view>

namespace orx {

// A small store of byte values in the keychain's generic-password items, one item for each account
// under one service name. Without state of its own; safe to use from any thread. Calls may wait for
// the disk or the keychain.
class ORX_EXPORT ORVAAccountKeychain final : public Object {
 public:
  static std::shared_ptr<ORVAAccountKeychain> initWithServiceID(std::string_view serviceID);

  // A new query for the item of this account: its class, service and account, in this order.
  Dictionary queryWithKey(std::string_view key) const;

  // Writes the item (replacing its bytes when it exists), or deletes it when `data` is absent;
  // deleting what does not exist is a success. False when the keychain refused, and when `key` is
  // absent.
  bool setData_forKey(const std::optional<Data>& data, std::optional<std::string_view> key);

  // The item's bytes; absent when there is no such item, when it could not be read, and when `key`
  // is absent.
  std::optional<Data> dataForKey(std::optional<std::string_view> key) const;

  ~ORVAAccountKeychain() override;

  // From here on: what the library itself calls; not for hosts.

  // The same, and why there are none: errSecItemNotFound only when there truly is no such item.
  OSStatus copyData_forKey(std::optional<Data>& data, std::string_view key) const;

 private:
  struct State;
  explicit ORVAAccountKeychain(std::string_view serviceID);

  std::unique_ptr<const State> state_;
};

}  // namespace orx
