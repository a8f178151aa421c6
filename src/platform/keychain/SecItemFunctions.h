// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/SecItem.h>
#include <ORXAccount/platform/Value.h>

#include <chrono>
#include <optional>

namespace orx::platform {

// The keychain's generic-password items, over the store that is in force. `query` names the item by
// kSecClass, kSecAttrService and kSecAttrAccount; anything else in it that a call does not read is
// ignored. Safe to use from any thread and any process.

// Creates the item with the bytes under kSecValueData; errSecDuplicateItem when it exists.
OSStatus SecItemAdd(const Dictionary& query);
// Replaces the bytes of the item; errSecItemNotFound when there is none.
OSStatus SecItemUpdate(const Dictionary& query, const Dictionary& attributesToUpdate);
// Removes every trace of the item; errSecItemNotFound when there is none.
OSStatus SecItemDelete(const Dictionary& query);
// Reads the item's bytes when kSecReturnData is true in the query.
OSStatus SecItemCopyMatching(const Dictionary& query, std::optional<Value>& result);

// How long one of these calls waits for other processes and for a service; two seconds unless a
// test sets it.
void setKeychainPatience(std::chrono::milliseconds limit);

}  // namespace orx::platform
