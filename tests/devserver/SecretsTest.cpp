// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "devserver/Secrets.h"

namespace orx::testing {
namespace {

using orx::devserver::hashPassword;
using orx::devserver::matchesPassword;

TEST(PasswordHash, MatchesItsOwnPasswordOnly) {
  const std::string hash = hashPassword("correct horse");
  EXPECT_TRUE(matchesPassword("correct horse", hash));
  EXPECT_FALSE(matchesPassword("correct horsf", hash));
  EXPECT_FALSE(matchesPassword("", hash));
}

TEST(PasswordHash, IsSalted) { EXPECT_NE(hashPassword("same"), hashPassword("same")); }

TEST(PasswordHash, ReadsItsParametersFromTheStoredText) {
  // From RFC 7914, section 11: PBKDF2-HMAC-SHA256 of "passwd" with the salt "salt", one iteration.
  EXPECT_TRUE(matchesPassword(
      "passwd",
      "pbkdf2-sha256$1$salt$55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"));
}

TEST(PasswordHash, MatchesNothingWhenTheStoredTextIsNone) {
  for (const char* stored : {"", "plain", "pbkdf2-sha256$", "pbkdf2-sha256$x$y$z",
                             "pbkdf2-sha256$1$salt", "pbkdf2-sha256$1$salt$"}) {
    EXPECT_FALSE(matchesPassword("", stored)) << stored;
  }
}

TEST(RandomToken, HasTwoDigitsForEachByteAndDiffers) {
  const std::string token = orx::devserver::randomToken(24);
  EXPECT_EQ(token.size(), 48U);
  EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(token, orx::devserver::randomToken(24));
}

}  // namespace
}  // namespace orx::testing
