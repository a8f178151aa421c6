// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/base/Base64.h"

namespace orx {

using namespace platform;
namespace {

Data dataOf(std::string_view text) {
  return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
}

TEST(Base64, WritesAndReadsEachLengthOfTheLastGroup) {
  const std::vector<std::pair<std::string, std::string>> pairs = {{"", ""},
                                                                  {"f", "Zg=="},
                                                                  {"fo", "Zm8="},
                                                                  {"foo", "Zm9v"},
                                                                  {"foob", "Zm9vYg=="},
                                                                  {"fooba", "Zm9vYmE="},
                                                                  {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : pairs) {
    EXPECT_EQ(base64Of(dataOf(bytes)), text);
    EXPECT_EQ(dataFromBase64(text), dataOf(bytes)) << text;
  }
}

TEST(Base64, KnowsEveryDigitByItsValue) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (unsigned value = 0; value < 64; ++value) {
    const std::string text = {'A', 'A', 'A', alphabet[value]};
    const Data bytes(std::vector<std::uint8_t>{0, 0, static_cast<std::uint8_t>(value)});
    EXPECT_EQ(base64Of(bytes), text);
    EXPECT_EQ(dataFromBase64(text), bytes) << text;
  }
}

TEST(Base64, RefusesEveryCharacterThatIsNoDigit) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int code = 0; code < 256; ++code) {
    const char character = static_cast<char>(code);
    const std::string text = {'A', character, 'A', 'A'};
    EXPECT_EQ(dataFromBase64(text).has_value(), alphabet.find(character) != std::string::npos)
        << code;
  }
}

TEST(Base64, RefusesWhatIsNotAsItWouldBeWritten) {
  for (const char* text : {"Z", "Zg", "Zg=", "Zm9", "Zm9vY", "====", "Z===", "Zg==Zg==", "Zm9v\n",
                           "Zh==", "Zi==", "Zk==", "Zo==", "Zm9=", "Zm+="}) {
    EXPECT_FALSE(dataFromBase64(text)) << text;
  }
}

}  // namespace
}  // namespace orx
