// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>

#include "platform/process/UUID.h"

namespace orx {

using namespace platform;
namespace {

TEST(UUID, IsUpperCaseHexadecimalInFiveGroups) {
  const std::string form = "hhhhhhhh-hhhh-4hhh-vhhh-hhhhhhhhhhhh";
  const std::string uuid = UUIDString();
  ASSERT_EQ(uuid.size(), form.size());
  for (std::size_t position = 0; position < form.size(); ++position) {
    const std::string allowed = form[position] == 'h'   ? "0123456789ABCDEF"
                                : form[position] == 'v' ? "89AB"
                                                        : std::string(1, form[position]);
    EXPECT_NE(allowed.find(uuid[position]), std::string::npos) << uuid << " at " << position;
  }
}

TEST(UUID, IsNewEachTime) {
  std::set<std::string> seen;
  for (int count = 0; count < 1000; ++count) seen.insert(UUIDString());
  EXPECT_EQ(seen.size(), 1000U);
}

}  // namespace
}  // namespace orx
