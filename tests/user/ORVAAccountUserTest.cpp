// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/queues/OperationQueue.h"

namespace orx {
namespace {

using namespace std::chrono;

constexpr std::string_view kGlobalPicture =
    "https://" ORX_TEST_GLOBAL_HOST "/utilities/pic.ashx?s=large&f=";
constexpr std::string_view kChinaPicture =
    "https://" ORX_TEST_CHINA_HOST "/utilities/pic.ashx?s=large&f=";

std::shared_ptr<ORVAAccountUser> userWith(Dictionary userInfo) {
  return ORVAAccountUser::initWithUserInfo(std::move(userInfo));
}

std::string pictureText(const ORVAAccountUser& user) {
  const auto url = user.pictureURL();
  return url ? url->absoluteString() : "(absent)";
}

struct TextAccessor {
  std::string_view key;
  std::optional<std::string> (ORVAAccountUser::*read)() const;
};

const std::vector<TextAccessor>& textAccessors() {
  static const std::vector<TextAccessor> kAccessors{
      {"login", &ORVAAccountUser::login},        {"email", &ORVAAccountUser::email},
      {"country", &ORVAAccountUser::country},    {"cus_id", &ORVAAccountUser::cusID},
      {"ticket", &ORVAAccountUser::ticket},      {"first_name", &ORVAAccountUser::firstName},
      {"last_name", &ORVAAccountUser::lastName}, {"nick_name", &ORVAAccountUser::nickName},
      {"mobile", &ORVAAccountUser::mobile},      {"birthdate", &ORVAAccountUser::birthdateString},
  };
  return kAccessors;
}

TEST(ORVAAccountUser, ReadsEachFieldUnderItsServiceName) {
  Dictionary userInfo;
  for (const auto& accessor : textAccessors()) {
    userInfo.set(std::string(accessor.key), "the " + std::string(accessor.key));
  }
  const auto user = userWith(userInfo);
  for (const auto& accessor : textAccessors()) {
    EXPECT_EQ((*user.*accessor.read)(), "the " + std::string(accessor.key));
  }
}

TEST(ORVAAccountUser, GivesEmptyTextAsItIsStored) {
  for (const auto& accessor : textAccessors()) {
    const auto user = userWith({{std::string(accessor.key), ""}});
    if (accessor.key == "country") continue;
    EXPECT_EQ((*user.*accessor.read)(), "") << accessor.key;
  }
}

TEST(ORVAAccountUser, GivesNumbersAndBooleansAsTheirText) {
  const struct {
    Value stored;
    std::string text;
  } cases[] = {{12345678901, "12345678901"},
               {UINT64_MAX, "18446744073709551615"},
               {-7, "-7"},
               {0.5, "0.5"},
               {true, "true"},
               {false, "false"}};
  for (const auto& accessor : textAccessors()) {
    for (const auto& [stored, text] : cases) {
      const auto user = userWith({{std::string(accessor.key), stored}});
      EXPECT_EQ((*user.*accessor.read)(), text) << accessor.key;
      EXPECT_EQ((*user->userInfo())[accessor.key], stored);
    }
  }
}

TEST(ORVAAccountUser, GivesWhatHoldsNoTextAsAbsent) {
  for (const auto& accessor : textAccessors()) {
    for (const Value& stored :
         {Value(), Value(Array{"text"}), Value(Dictionary{{"key", "text"}}), Value(Data("text"))}) {
      const auto user = userWith({{std::string(accessor.key), stored}});
      EXPECT_EQ((*user.*accessor.read)(), std::nullopt) << accessor.key;
      EXPECT_EQ((*user->userInfo())[accessor.key], stored);
    }
  }
}

TEST(ORVAAccountUser, ReadsEveryFieldAsAbsentWithoutADictionaryOrWithAnEmptyOne) {
  for (const auto& user :
       {ORVAAccountUser::initWithUserInfo(std::nullopt), userWith(Dictionary())}) {
    for (const auto& accessor : textAccessors()) {
      EXPECT_EQ((*user.*accessor.read)(), std::nullopt) << accessor.key;
    }
    EXPECT_EQ(user->birthdate(), std::nullopt);
    EXPECT_FALSE(user->isCNServer());
    EXPECT_EQ(pictureText(*user), kGlobalPicture);
  }
  EXPECT_EQ(ORVAAccountUser::initWithUserInfo(std::nullopt)->userInfo(), std::nullopt);
  EXPECT_EQ(userWith(Dictionary())->userInfo(), Dictionary());
}

TEST(ORVAAccountUser, WrapsTheVeryDictionaryThatItIsGiven) {
  const Dictionary userInfo{{"login", "someone"}, {"unknown_field", Array{1, nullptr}}};
  EXPECT_TRUE(userWith(userInfo)->userInfo()->isSameAs(userInfo));
}

TEST(ORVAAccountUser, FallsBackToTheRegionForAnEmptyCountry) {
  const auto user = userWith({{"country", ""}, {"region", "TWN"}});
  EXPECT_EQ(user->country(), "TWN");
  EXPECT_FALSE(user->isCNServer());
  EXPECT_EQ(pictureText(*user), kGlobalPicture);
}

TEST(ORVAAccountUser, FallsBackToTheRegionForAMissingCountry) {
  const auto user = userWith({{"region", "CHN"}, {"pic", "face.jpg"}});
  EXPECT_EQ(user->country(), "CHN");
  EXPECT_TRUE(user->isCNServer());
  EXPECT_EQ(pictureText(*user), std::string(kChinaPicture) + "face.jpg");
}

TEST(ORVAAccountUser, FallsBackToTheRegionForACountryWithoutText) {
  EXPECT_EQ(userWith({{"country", nullptr}, {"region", "TWN"}})->country(), "TWN");
  EXPECT_EQ(userWith({{"country", Array()}, {"region", 7}})->country(), "7");
}

TEST(ORVAAccountUser, PrefersACountryToTheRegion) {
  const auto user = userWith({{"country", "TWN"}, {"region", "CHN"}});
  EXPECT_EQ(user->country(), "TWN");
  EXPECT_FALSE(user->isCNServer());
}

TEST(ORVAAccountUser, GivesAnEmptyRegionAsEmptyAndAMissingOneAsAbsent) {
  EXPECT_EQ(userWith({{"country", ""}, {"region", ""}})->country(), "");
  EXPECT_EQ(userWith({{"country", ""}})->country(), std::nullopt);
}

TEST(ORVAAccountUser, ComparesTheCountryWithChinaWholeAndByCase) {
  EXPECT_TRUE(userWith({{"country", "CHN"}})->isCNServer());
  for (const char* country : {"chn", "Chn", "CHN ", " CHN", "CHNX", "CH", "CN"}) {
    const auto user = userWith({{"country", country}});
    EXPECT_FALSE(user->isCNServer()) << country;
    EXPECT_EQ(pictureText(*user), kGlobalPicture);
  }
  EXPECT_FALSE(userWith({{"country", std::string("CHN\0", 4)}})->isCNServer());
}

TEST(ORVAAccountUser, LeavesThePictureTemplateBareWithoutAPicture) {
  EXPECT_EQ(pictureText(*userWith({{"login", "someone"}})), kGlobalPicture);
  EXPECT_EQ(pictureText(*userWith({{"country", "CHN"}})), kChinaPicture);
  EXPECT_EQ(pictureText(*userWith({{"pic", nullptr}})), kGlobalPicture);
}

TEST(ORVAAccountUser, PutsThePictureTextIntoTheURLVerbatim) {
  for (const char* picture : {"a/b.jpg", "a%20b", "a&s=small#top", "+~!$'()*,;:@?="}) {
    EXPECT_EQ(pictureText(*userWith({{"pic", picture}})), std::string(kGlobalPicture) + picture);
  }
  EXPECT_EQ(pictureText(*userWith({{"pic", 17}})), std::string(kGlobalPicture) + "17");
}

TEST(ORVAAccountUser, HasNoPictureURLForTextThatMakesNone) {
  for (const std::string& picture :
       {std::string("a b"), std::string("a\nb"), std::string("\u00e9"), std::string("a\"b"),
        std::string("a\0b", 3), std::string("%"), std::string("100%"), std::string("%zz"),
        std::string("a[b]"), std::string("a#b#c")}) {
    EXPECT_EQ(userWith({{"pic", picture}})->pictureURL(), std::nullopt) << picture;
  }
}

TEST(ORVAAccountUser, ReadsTheBirthDateAsUTCWhateverTheTimeZone) {
  const auto user = userWith({{"birthdate", "1985-07-14T08:30:00"}});
  const sys_seconds expected = sys_days{1985y / July / 14} + 8h + 30min;
  for (const char* zone : {"UTC", "Asia/Taipei", "America/Los_Angeles", "<+14>-14"}) {
    setenv("TZ", zone, 1);
    tzset();
    EXPECT_EQ(user->birthdate(), expected) << zone;
  }
  EXPECT_EQ(user->birthdateString(), "1985-07-14T08:30:00");
}

TEST(ORVAAccountUser, GivesABirthDateOfAnotherFormAsTextOnly) {
  for (const char* text : {"1985-07-14", "1985-07-14T08:30:00Z", "1985-07-14T08:30:00.0", "",
                           "1985-02-30T08:30:00", "1985-07-14 08:30:00"}) {
    const auto user = userWith({{"birthdate", text}});
    EXPECT_EQ(user->birthdate(), std::nullopt) << text;
    EXPECT_EQ(user->birthdateString(), text);
  }
  EXPECT_EQ(userWith({{"birthdate", 19850714}})->birthdate(), std::nullopt);
}

TEST(ORVAAccountUser, EqualsARecordWithEqualFieldsWhateverItsPicture) {
  const auto one = userWith({{"login", "someone"}, {"score", 1}, {"list", Array{nullptr}}});
  const auto other = userWith({{"list", Array{nullptr}}, {"score", 1.0}, {"login", "someone"}});
  one->setProfileImageData(Data("picture"));
  EXPECT_TRUE(one->isEqual(other.get()));
  EXPECT_TRUE(other->isEqual(one.get()));
  EXPECT_TRUE(one->isEqualToUser(other.get()));
}

TEST(ORVAAccountUser, DiffersByAnyFieldWithOrWithoutAnAccessor) {
  const auto user = userWith({{"login", "someone"}});
  for (const Dictionary& other :
       {Dictionary{{"login", "someone else"}}, Dictionary{{"login", "someone"}, {"unknown", 1}},
        Dictionary{{"email", "someone"}}, Dictionary()}) {
    EXPECT_FALSE(user->isEqual(userWith(other).get()));
    EXPECT_FALSE(user->isEqualToUser(userWith(other).get()));
  }
}

TEST(ORVAAccountUser, EqualsOnlyItselfWhenMadeFromNothing) {
  const auto user = ORVAAccountUser::initWithUserInfo(std::nullopt);
  const auto other = ORVAAccountUser::initWithUserInfo(std::nullopt);
  const auto empty = userWith(Dictionary());
  EXPECT_TRUE(user->isEqual(user.get()));
  EXPECT_FALSE(user->isEqualToUser(user.get()));
  EXPECT_FALSE(user->isEqual(other.get()));
  EXPECT_FALSE(user->isEqual(empty.get()));
  EXPECT_FALSE(empty->isEqual(user.get()));
  EXPECT_TRUE(empty->isEqual(userWith(Dictionary()).get()));
}

TEST(ORVAAccountUser, EqualsNeitherNullNorAnotherKindOfObject) {
  class OtherObject final : public Object {};
  const auto user = userWith({{"login", "someone"}});
  const OtherObject other;
  EXPECT_FALSE(user->isEqual(nullptr));
  EXPECT_FALSE(user->isEqualToUser(nullptr));
  EXPECT_FALSE(user->isEqual(&other));
}

TEST(ORVAAccountUser, HashesByIdentityThoughItEqualsByContent) {
  const auto one = userWith({{"login", "someone"}});
  const auto other = userWith({{"login", "someone"}});
  ASSERT_TRUE(one->isEqual(other.get()));
  EXPECT_NE(one->hash(), other->hash());
  EXPECT_EQ(one->hash(), one->hash());
}

TEST(ORVAAccountUser, StartsWithASerialQueueOfItsOwnAndNoPicture) {
  const auto user = userWith({{"login", "someone"}});
  ASSERT_NE(user->userOperationQueue(), nullptr);
  EXPECT_NE(user->userOperationQueue(), userWith(Dictionary())->userOperationQueue());
  EXPECT_EQ(user->profileImageData(), std::nullopt);
  EXPECT_EQ(user->loadProfileImageTask(), nullptr);
  EXPECT_EQ(user->loadProfileImageSemaphore(), nullptr);
}

}  // namespace
}  // namespace orx
