// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace orx::devserver {

// Salted PBKDF2 with its parameters, as one line of text. Throws std::runtime_error when the system
// gives no random bytes.
std::string hashPassword(const std::string& password);

// Compares in constant time; false for a stored text that is not a hash.
bool matchesPassword(const std::string& password, const std::string& stored);

// So many random bytes, in hexadecimal digits.
std::string randomToken(std::size_t bytes);

}  // namespace orx::devserver
