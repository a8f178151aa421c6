// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Bundle.h>
#include <gtest/gtest.h>

namespace orx {
namespace {

TEST(Bundle, HasNoIdentifierUntilTheHostSetsOne) {
  EXPECT_FALSE(Bundle::mainBundle()->bundleIdentifier());
  Bundle::mainBundle()->setBundleIdentifier("com.example.host");
  EXPECT_EQ(Bundle::mainBundle()->bundleIdentifier(), "com.example.host");
  Bundle::mainBundle()->setBundleIdentifier("");
  EXPECT_EQ(Bundle::mainBundle()->bundleIdentifier(), "");
  Bundle::mainBundle()->setBundleIdentifier(std::nullopt);
  EXPECT_FALSE(Bundle::mainBundle()->bundleIdentifier());
}

}  // namespace
}  // namespace orx
