#pragma once

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// The bytes of an item's file: a mark with the format's version, the lengths of service, account
// and data (four bytes each, little-endian), these three, and the CRC-32 of all before. A format
// that never changes.
Data fileContentOf(const KeychainItem& item, const Data& bytes);

// The data in such a file; absent when it is damaged or another item's.
std::optional<Data> dataInFile(const KeychainItem& item, const Data& content);

}  // namespace orx::platform
