// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <vector>

#include "platform/keychain/KeychainItemFormat.h"

namespace orx {

using namespace platform;
namespace {

const KeychainItem item{.service = "service", .account = "account"};
const Data bytes(std::vector<std::uint8_t>{0, 255, 10});

// Written by hand from the description of the format, with the CRC-32 of another program.
const std::vector<std::uint8_t> file{'O', 'R', 'X', 'I', 'T',  'E',  'M',  '1', 7,   0,   0,
                                     0,   7,   0,   0,   0,    3,    0,    0,   0,   's', 'e',
                                     'r', 'v', 'i', 'c', 'e',  'a',  'c',  'c', 'o', 'u', 'n',
                                     't', 0,   255, 10,  0xF4, 0xF3, 0x4C, 0xBC};

TEST(KeychainItemFormat, HasTheFormatThatNeverChanges) {
  EXPECT_EQ(encodedItem(item, bytes), Data(file));
  EXPECT_EQ(decodedItem(item, Data(file)), bytes);
}

TEST(KeychainItemFormat, IsDamagedAtEveryOtherLength) {
  for (std::size_t length = 0; length < file.size(); ++length) {
    EXPECT_FALSE(decodedItem(item, Data(std::vector(file.begin(), file.begin() + length))))
        << length;
  }
  auto longer = file;
  longer.push_back(0);
  EXPECT_FALSE(decodedItem(item, Data(longer)));
}

TEST(KeychainItemFormat, IsDamagedByTheChangeOfAnyBit) {
  for (std::size_t bit = 0; bit < file.size() * 8; ++bit) {
    auto changed = file;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_FALSE(decodedItem(item, Data(changed))) << bit;
  }
}

TEST(KeychainItemFormat, IsOnlyItsOwnItems) {
  EXPECT_FALSE(decodedItem({.service = "service", .account = "accounT"}, Data(file)));
  EXPECT_FALSE(decodedItem({.service = "servicea", .account = "ccount"}, Data(file)));
}

}  // namespace
}  // namespace orx
