// SPDX-License-Identifier: MIT
#include "devserver/Secrets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace orx::devserver {
namespace {

constexpr std::string_view kScheme = "pbkdf2-sha256$";
// Too few for a public service, but this one runs on loopback and load tests sign in thousands of
// times. The count is stored with each hash, so it can be raised later.
constexpr int kIterations = 10'000;
constexpr std::size_t kSaltBytes = 16;
constexpr std::size_t kHashBytes = 32;

std::string hexadecimal(std::string_view bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

std::string derive(const std::string& password, const std::string& salt, int iterations) {
  std::string hash(kHashBytes, '\0');
  const auto* saltBytes = reinterpret_cast<const unsigned char*>(salt.data());
  if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), saltBytes,
                        static_cast<int>(salt.size()), iterations, EVP_sha256(),
                        static_cast<int>(hash.size()),
                        reinterpret_cast<unsigned char*>(hash.data())) != 1) {
    throw std::runtime_error("the password cannot be hashed");
  }
  return hexadecimal(hash);
}

}  // namespace

std::string randomToken(std::size_t bytes) {
  std::string random(bytes, '\0');
  if (RAND_bytes(reinterpret_cast<unsigned char*>(random.data()), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("the system gives no random bytes");
  }
  return hexadecimal(random);
}

std::string hashPassword(const std::string& password) {
  const std::string salt = randomToken(kSaltBytes);
  return std::string(kScheme) + std::to_string(kIterations) + "$" + salt + "$" +
         derive(password, salt, kIterations);
}

bool matchesPassword(const std::string& password, const std::string& stored) {
  // Hash even without a stored password, so that the time does not tell which accounts have one.
  static const std::string nobody = hashPassword(randomToken(kSaltBytes));
  const bool known = stored.starts_with(kScheme);
  const std::string_view parts = std::string_view(known ? stored : nobody).substr(kScheme.size());
  int iterations = 0;
  std::from_chars(parts.data(), parts.data() + parts.size(), iterations);
  const std::size_t salt = parts.find('$');
  const std::size_t hash = parts.rfind('$');
  if (iterations <= 0 || salt == hash) return false;
  const std::string expected(parts.substr(hash + 1));
  const std::string actual =
      derive(password, std::string(parts.substr(salt + 1, hash - salt - 1)), iterations);
  return expected.size() == actual.size() &&
         CRYPTO_memcmp(expected.data(), actual.data(), actual.size()) == 0 && known;
}

}  // namespace orx::devserver
