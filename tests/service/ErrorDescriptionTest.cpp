// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace orx {
namespace {

std::shared_ptr<Error> errorFor(const std::optional<std::string>& description) {
  return ORVAAccountAPI::initWithOptions({})->errorWithDescription(description);
}

TEST(ErrorWithDescription, GivesEachOfTheServicesTextsItsCode) {
  const std::vector<std::pair<std::string, std::int64_t>> rows{
      {"AppID Error", 0},        {"AppKey Error", 1},
      {"ApiID Error", 2},        {"This account already registered", 3},
      {"password error", 4},     {"passwd can not empty or be 8~25 in length", 5},
      {"Email Format Error", 6},
  };
  for (const auto& [description, code] : rows) {
    const auto error = errorFor(description);
    EXPECT_EQ(error->domain(), "com.orva.account");
    EXPECT_EQ(error->code(), code) << description;
    EXPECT_EQ(error->userInfo(), (Dictionary{{"NSLocalizedDescription", description}}));
  }
}

TEST(ErrorWithDescription, GivesAnyOtherTextCodeSevenWithThatText) {
  for (const std::string description :
       {"email format error", " AppID Error", "AppID Error ", "something else", "Password error"}) {
    const auto error = errorFor(description);
    EXPECT_EQ(error->code(), 7) << description;
    EXPECT_EQ(error->localizedDescription(), description);
  }
}

TEST(ErrorWithDescription, GivesTheEmptyTextCodeSevenWithAnEmptyDescription) {
  const auto error = errorFor("");
  EXPECT_EQ(error->code(), 7);
  EXPECT_EQ(error->userInfo(), (Dictionary{{"NSLocalizedDescription", ""}}));
  EXPECT_EQ(error->localizedDescription(), "");
}

TEST(ErrorWithDescription, CodeZeroBelongsToARefusedApplicationID) {
  const auto error = errorFor("AppID Error");
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), 0);
  EXPECT_EQ(error->domain(), kORVAAccountErrorDomain);
}

TEST(ErrorWithDescription, AnAbsentDescriptionGivesCodeSevenWithoutDetails) {
  const auto error = errorFor(std::nullopt);
  EXPECT_EQ(error->code(), 7);
  EXPECT_TRUE(error->userInfo().empty());
}

}  // namespace
}  // namespace orx
