// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/base/Result.h"

namespace orx {

using namespace platform;
namespace {

TEST(Failure, CarriesWhatItIsMadeOf) {
  const Result<void> failed = makeFailure("domain", 7, "It broke.", "/a/path", "Mend it.");
  const Error& error = *failed.error();
  EXPECT_EQ(error.domain(), "domain");
  EXPECT_EQ(error.code(), 7);
  EXPECT_EQ(error.localizedDescription(), "It broke.");
  EXPECT_EQ(error.userInfo()[NSFilePathErrorKey].text(), "/a/path");
  EXPECT_EQ(error.userInfo()[NSLocalizedRecoverySuggestionErrorKey].text(), "Mend it.");
}

TEST(Failure, LeavesOutWhatIsEmpty) {
  const Result<void> failed = makeFailure("domain", 7, "");
  const auto& details = failed.error()->userInfo();
  EXPECT_EQ(details[NSFilePathErrorKey].text(), std::nullopt);
  EXPECT_EQ(details[NSLocalizedRecoverySuggestionErrorKey].text(), std::nullopt);
}

}  // namespace
}  // namespace orx
