// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace orx {

// Attributes of a keychain query, as ORVAAccountKeychain::queryWithKey builds it.
inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecAttrService = "svce";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecValueData = "v_Data";
inline constexpr std::string_view kSecReturnData = "r_Data";
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";

// The status of a keychain call.
using OSStatus = std::int32_t;
inline constexpr OSStatus errSecSuccess = 0;
// The query itself is not usable (no class, an attribute of a foreign type).
inline constexpr OSStatus errSecParam = -50;
// Reading or writing the store failed (disk full, no permission, input or output error).
inline constexpr OSStatus errSecIO = -36;
// The store is not there, does not answer or is not trusted: no keyring, a silent one, a link, a
// foreign owner, a directory others may write to.
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecAuthFailed = -25293;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
// The store is locked, or asks before each change, and nobody may be asked.
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;
// What is stored cannot be read as an item.
inline constexpr OSStatus errSecDecode = -26275;

}  // namespace orx
