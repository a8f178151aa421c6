// SPDX-License-Identifier: MIT
// What the functions themselves refuse: null pointers, text that is not UTF-8, JSON that is none.

#include <array>
#include <cerrno>

#include "c/CHost.h"
#include "c/Starts.h"

namespace orx {
namespace {

using namespace orx::testing;

constexpr const char* kNoUTF8 = "{\"login\":\"\xE9\"}";

class CRefusal : public CHost {
 protected:
  // Neither a request nor a callback came of what was refused.
  ~CRefusal() override {
    EXPECT_EQ(server().requests().size(), 0U);
    EXPECT_EQ(box.count(), 0U);
  }
  ToldBox box;
};

class CRefusalOfACall : public CRefusal, public ::testing::WithParamInterface<Start> {};

TEST_P(CRefusalOfACall, NamesTheMistake) {
  const auto start = GetParam().start;
  EXPECT_EQ(refusal(start("{}", nullptr, &box)), EINVAL);
  EXPECT_EQ(refusal(start(kNoUTF8, putTold, &box)), EILSEQ);
  if (GetParam().takesParameters) {
    for (const char* text : {"", "{", "[]", "null", "{\"a\":NaN}", "{} {}"}) {
      EXPECT_EQ(refusal(start(text, putTold, &box)), EINVAL) << text;
    }
  } else {
    EXPECT_EQ(refusal(start(nullptr, putTold, &box)), EINVAL);
  }
}

const auto nameOfStart = [](const auto& each) { return each.param.name; };
INSTANTIATE_TEST_SUITE_P(SignIns, CRefusalOfACall, ::testing::ValuesIn(kSignIns), nameOfStart);
INSTANTIATE_TEST_SUITE_P(Calls, CRefusalOfACall, ::testing::ValuesIn(kCalls), nameOfStart);

TEST_P(CRefusalOfACall, HasItsTextsUntilItIsReleased) {
  orx_error* error = GetParam().start("{}", nullptr, nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(orx_error_text(error), "the callback is a null pointer");
  orx_error_release(error);
}

// Without the fixture, nothing is initialised.
class CRefusalBeforeTheStart : public ::testing::TestWithParam<Start> {};

TEST_P(CRefusalBeforeTheStart, NamesTheMistake) {
  ToldBox box;
  EXPECT_EQ(refusal(GetParam().start("{}", putTold, &box)), EINVAL);
  EXPECT_EQ(box.count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(SignIns, CRefusalBeforeTheStart, ::testing::ValuesIn(kSignIns),
                         nameOfStart);
INSTANTIATE_TEST_SUITE_P(Calls, CRefusalBeforeTheStart, ::testing::ValuesIn(kCalls), nameOfStart);

TEST_F(CRefusal, ComesFromTheStartWithoutCredentials) {
  EXPECT_EQ(refusal(orx_initialize(nullptr, "key", 0)), EINVAL);
  EXPECT_EQ(refusal(orx_initialize("app", nullptr, 0)), EINVAL);
  EXPECT_EQ(refusal(orx_initialize(kNoUTF8, "key", 0)), EILSEQ);
  EXPECT_EQ(refusal(orx_initialize("app", kNoUTF8, 0)), EILSEQ);
}

TEST_F(CRefusal, ComesWithoutAPlaceForTheResult) {
  const std::array<const char*, 1> none{nullptr};
  EXPECT_EQ(refusal(orx_current_user(nullptr)), EINVAL);
  EXPECT_EQ(refusal(orx_status(nullptr)), EINVAL);
  EXPECT_EQ(refusal(orx_json_object(none.data(), nullptr)), EINVAL);
  EXPECT_EQ(refusal(orx_observe_user(putTold, nullptr, nullptr, nullptr)), EINVAL);
}

TEST_F(CRefusal, OfAnObservationLeavesTheContextToTheCaller) {
  orx_observation* observation = nullptr;
  const auto ended = [](void* /*context*/) { FAIL(); };
  EXPECT_EQ(refusal(orx_observe_user(nullptr, nullptr, ended, &observation)), EINVAL);
  EXPECT_EQ(refusal(orx_observe_user(putTold, nullptr, ended, nullptr)), EINVAL);
  EXPECT_EQ(observation, nullptr);
}

TEST_F(CRefusal, ComesWithoutAUserOrACallbackForAPicture) {
  EXPECT_EQ(refusal(orx_user_load_picture(nullptr, putTold, &box)), EINVAL);
  ORVAAccountUser::setCurrentUser(ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "a"}}));
  EXPECT_EQ(refusal(orx_user_load_picture(currentUser().get(), nullptr, &box)), EINVAL);
}

TEST_F(CRefusal, OfAnObjectNamesAKeyWithoutAValueAndTextThatIsNotUTF8) {
  orx_result* object = nullptr;
  const std::array<const char*, 4> odd{"a", "1", "b", nullptr};
  const std::array<const char*, 3> foreignKey{"\xFF", "1", nullptr};
  const std::array<const char*, 3> foreignValue{"a", "\xFF", nullptr};
  EXPECT_EQ(refusal(orx_json_object(nullptr, &object)), EINVAL);
  EXPECT_EQ(refusal(orx_json_object(odd.data(), &object)), EINVAL);
  EXPECT_EQ(refusal(orx_json_object(foreignKey.data(), &object)), EILSEQ);
  EXPECT_EQ(refusal(orx_json_object(foreignValue.data(), &object)), EILSEQ);
  EXPECT_EQ(object, nullptr);
}

// Whoever binds the functions to another language need not look at each handle first.
TEST(CNullHandles, AreReleasedAndHaveNothing) {
  orx_error_release(nullptr);
  orx_result_release(nullptr);
  orx_user_release(nullptr);
  orx_observation_release(nullptr);
  EXPECT_EQ(orx_error_domain(nullptr), nullptr);
  EXPECT_EQ(orx_error_code(nullptr), 0);
  EXPECT_EQ(orx_error_text(nullptr), nullptr);
  EXPECT_EQ(orx_result_json(nullptr), nullptr);
  EXPECT_EQ(orx_result_text(nullptr, "a"), nullptr);
  EXPECT_EQ(orx_result_description(nullptr), nullptr);
  EXPECT_EQ(orx_result_transfer_error(nullptr), nullptr);
  std::size_t size = 1;
  EXPECT_EQ(orx_result_bytes(nullptr, &size), nullptr);
  EXPECT_EQ(size, 0U);
  EXPECT_EQ(orx_result_bytes(nullptr, nullptr), nullptr);
  EXPECT_EQ(orx_result_user(nullptr), nullptr);
  EXPECT_EQ(orx_result_previous_user(nullptr), nullptr);
  EXPECT_EQ(orx_user_json(nullptr), nullptr);
  EXPECT_EQ(orx_user_text(nullptr, "a"), nullptr);
  EXPECT_EQ(orx_user_picture_url(nullptr), nullptr);
  EXPECT_EQ(orx_user_is_china(nullptr), 0);
  EXPECT_EQ(orx_user_retain(nullptr), nullptr);
}

}  // namespace
}  // namespace orx
