// SPDX-License-Identifier: MIT
#pragma once

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// The bytes in which every store keeps an item: a mark with the format's version, the lengths of
// service, account and data (four bytes each, little-endian), these three, and the CRC-32 of all
// before. A format that never changes.
Data encodedItem(const KeychainItem& item, const Data& bytes);

// The data in such bytes; absent when they are damaged or another item's.
std::optional<Data> decodedItem(const KeychainItem& item, const Data& content);

}  // namespace orx::platform
