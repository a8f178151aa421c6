// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "platform/base/Checksum.h"

namespace orx {

using namespace platform;
namespace {

std::uint32_t checksumOfText(std::string_view text) {
  return checksumOf(std::vector<std::uint8_t>(text.begin(), text.end()));
}

// Stored files carry it: with any other polynomial they would all count as damaged.
TEST(Checksum, IsTheOneOfZlib) {
  EXPECT_EQ(checksumOfText(""), 0U);
  EXPECT_EQ(checksumOfText("a"), 0xE8B7BE43U);
  EXPECT_EQ(checksumOfText("123456789"), 0xCBF43926U);
}

}  // namespace
}  // namespace orx
