// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountUser.h>

#include <cerrno>
#include <thread>

#include "c/CHost.h"

namespace orx {
namespace {

using namespace orx::testing;

class CUser : public CHost {
 protected:
  static User userWith(std::optional<Dictionary> fields) {
    ORVAAccountUser::setCurrentUser(ORVAAccountUser::initWithUserInfo(std::move(fields)));
    return currentUser();
  }
};

TEST_F(CUser, IsNobodyBeforeASignInAndAfterASignOut) {
  EXPECT_EQ(currentUser(), nullptr);
  signIn("ada");
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_LOGIN), "ada");
  EXPECT_EQ(refusal(orx_sign_out()), 0);
  EXPECT_EQ(currentUser(), nullptr);
}

TEST_F(CUser, IsRestoredByTheStart) {
  signIn("ada");
  const auto stored = ORVAAccountUser::currentUser();
  EXPECT_EQ(refusal(orx_initialize("my-app", "my-key", 0)), 0);
  EXPECT_NE(ORVAAccountUser::currentUser(), stored);
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_LOGIN), "ada");
}

TEST_F(CUser, GivesItsFieldsAsTextAndAllOfThemAsJSON) {
  const User user = userWith(Dictionary{{"login", "ada"},
                                        {"cus_id", 42},
                                        {"adult", true},
                                        {"tags", Array{1, "b"}},
                                        {"title", Value()},
                                        {"pic", "me.png"}});
  EXPECT_STREQ(orx_user_text(user.get(), ORX_LOGIN), "ada");
  EXPECT_STREQ(orx_user_text(user.get(), ORX_CUS_ID), "42");
  EXPECT_STREQ(orx_user_text(user.get(), "adult"), "true");
  EXPECT_EQ(orx_user_text(user.get(), "tags"), nullptr);
  EXPECT_EQ(orx_user_text(user.get(), "title"), nullptr);
  EXPECT_EQ(orx_user_text(user.get(), "other"), nullptr);
  EXPECT_EQ(orx_user_text(user.get(), nullptr), nullptr);
  EXPECT_STREQ(orx_user_json(user.get()),
               R"({"login":"ada","cus_id":42,"adult":true,"tags":[1,"b"],"title":null,)"
               R"("pic":"me.png"})");
  EXPECT_EQ(textAt(orx_user_picture_url(user.get())),
            std::string("https://") + kGlobalHost + "/utilities/pic.ashx?s=large&f=me.png");
}

TEST_F(CUser, TakesItsRegionForAMissingCountry) {
  const User user = userWith(Dictionary{{"country", ""}, {"region", "CHN"}});
  EXPECT_STREQ(orx_user_text(user.get(), ORX_COUNTRY), "CHN");
  EXPECT_EQ(orx_user_is_china(user.get()), 1);
  EXPECT_EQ(orx_user_is_china(userWith(Dictionary{{"country", "TWN"}}).get()), 0);
}

TEST_F(CUser, HasACountryOfUTF8WhateverIsInTheRecord) {
  const User user = userWith(Dictionary{{"country", ""}, {"region", "a\xFF"}});
  EXPECT_STREQ(orx_user_text(user.get(), "region"), "a\uFFFD");
  EXPECT_STREQ(orx_user_text(user.get(), ORX_COUNTRY), "a\uFFFD");
}

TEST_F(CUser, HasNoFieldsWhereTheRecordHasNone) {
  const User user = userWith(std::nullopt);
  EXPECT_STREQ(orx_user_json(user.get()), "null");
  EXPECT_EQ(orx_user_text(user.get(), ORX_LOGIN), nullptr);
  EXPECT_EQ(orx_user_text(user.get(), ORX_COUNTRY), nullptr);
}

TEST_F(CUser, HasNoPictureURLWhereThePictureMakesNone) {
  EXPECT_EQ(orx_user_picture_url(userWith(Dictionary{{"pic", "100%"}}).get()), nullptr);
}

// A C++ part of the same program may put anything into a record.
TEST_F(CUser, GivesNullForWhatJSONCannotHoldAndValidTextForAllElse) {
  Value nested("deep");
  for (int depth = 0; depth < 600; ++depth) nested = Array{nested};
  const User user = userWith(Dictionary{{"data", Data("x")},
                                        {"object", std::make_shared<Object>()},
                                        {"nan", std::numeric_limits<double>::quiet_NaN()},
                                        {"text",
                                         "a\xFF"
                                         "b"},
                                        {"k\xFF", "v"},
                                        {"number", 1.5},
                                        {"list", Array{Data("x"), false, "ok"}}});
  EXPECT_STREQ(orx_user_json(user.get()),
               "{\"data\":null,\"object\":null,\"nan\":null,\"text\":\"a\uFFFDb\","
               "\"k\uFFFD\":\"v\",\"number\":1.5,\"list\":[null,false,\"ok\"]}");
  EXPECT_STREQ(orx_user_text(user.get(), "text"), "a\uFFFDb");
  EXPECT_STREQ(orx_user_text(user.get(), "k\uFFFD"), "v");
  const User deep = userWith(Dictionary{{"login", "ada"}, {"nested", nested}});
  EXPECT_STREQ(orx_user_text(deep.get(), ORX_LOGIN), "ada");
  EXPECT_EQ(std::string(orx_user_json(deep.get())).find("deep"), std::string::npos);
}

TEST_F(CUser, LivesUntilTheLastOwnerReleasesIt) {
  User user = userWith(Dictionary{{"login", "ada"}});
  const User second(orx_user_retain(user.get()));
  EXPECT_EQ(second.get(), user.get());
  user.reset();
  EXPECT_EQ(refusal(orx_sign_out()), 0);
  EXPECT_STREQ(orx_user_text(second.get(), ORX_LOGIN), "ada");
}

TEST_F(CUser, LoadsItsPictureOnce) {
  const std::string picture("\x89PNG\0\xFF", 6);
  answerWith(picture);
  const User user = userWith(Dictionary{{"pic", "me.png"}});
  for (int i = 0; i < 2; ++i) {
    const Told loaded = told([&](auto callback, void* context) {
      return orx_user_load_picture(user.get(), callback, context);
    });
    EXPECT_EQ(loaded.bytes, picture);
    EXPECT_EQ(loaded.json, "null");
  }
  EXPECT_EQ(server().requests().size(), 1U);
}

TEST_F(CUser, TellsWhyThereIsNoPicture) {
  answerWith("", 404);
  const User user = userWith(Dictionary{{"pic", "me.png"}});
  const Told loaded = told([&](auto callback, void* context) {
    return orx_user_load_picture(user.get(), callback, context);
  });
  EXPECT_EQ(loaded.domain, ORX_ERROR_DOMAIN_PICTURE);
  EXPECT_EQ(loaded.code, 404);
}

TEST_F(CUser, LoadsItsPictureAlsoWhenItsHandleIsReleasedMeanwhile) {
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request& /*request*/) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, "picture");
  });
  User user = userWith(Dictionary{{"pic", "me.png"}});
  ToldBox box;
  EXPECT_EQ(refusal(orx_user_load_picture(user.get(), putTold, &box)), 0);
  user.reset();
  EXPECT_EQ(refusal(orx_sign_out()), 0);
  mayAnswer->set();
  EXPECT_EQ(box.take().bytes, "picture");
}

// The context of an observer that counts how often it was let go.
struct Watched {
  ToldBox box;
  Mailbox<std::thread::id> threads;
  std::atomic<int> ended = 0;
};

class CObservation : public CUser {
 protected:
  static orx_observation* observe(Watched& watched) {
    orx_observation* observation = nullptr;
    const auto tell = [](void* context, const orx_result* result, const orx_error* error) {
      putTold(&static_cast<Watched*>(context)->box, result, error);
      static_cast<Watched*>(context)->threads.put(std::this_thread::get_id());
    };
    const auto end = [](void* context) { ++static_cast<Watched*>(context)->ended; };
    EXPECT_EQ(refusal(orx_observe_user(tell, &watched, end, &observation)), 0);
    return observation;
  }
};

TEST_F(CObservation, TellsTheUserAndThePreviousOneBeforeTheSignInReports) {
  Watched watched;
  orx_observation* observation = observe(watched);
  signIn("ada");
  ASSERT_EQ(watched.box.count(), 1U);
  const Told first = watched.box.take();
  EXPECT_EQ(first.login, "ada");
  EXPECT_EQ(first.previousLogin, std::nullopt);
  signIn("bob");
  const Told second = watched.box.take();
  EXPECT_EQ(second.login, "bob");
  EXPECT_EQ(second.previousLogin, "ada");
  EXPECT_NE(watched.threads.take(), std::this_thread::get_id());
  watched.threads.take();
  EXPECT_EQ(refusal(orx_sign_out()), 0);
  const Told third = watched.box.take();
  EXPECT_EQ(third.login, std::nullopt);
  EXPECT_EQ(third.previousLogin, "bob");
  EXPECT_EQ(watched.threads.take(), std::this_thread::get_id());
  orx_observation_release(observation);
}

TEST_F(CObservation, EndsWithItsReleaseAndLetsTheContextGoOnce) {
  Watched watched;
  orx_observation* observation = observe(watched);
  EXPECT_EQ(watched.ended, 0);
  orx_observation_release(observation);
  EXPECT_EQ(watched.ended, 1);
  signIn("ada");
  EXPECT_EQ(watched.box.count(), 0U);
  EXPECT_EQ(watched.ended, 1);
}

TEST_F(CObservation, MayBeReleasedByItsOwnCallback) {
  struct Context {
    orx_observation* observation = nullptr;
    bool toldAfterTheEnd = false;
    int ended = 0;
  } context;
  const auto tell = [](void* place, const orx_result*, const orx_error*) {
    auto* self = static_cast<Context*>(place);
    orx_observation_release(self->observation);
    self->toldAfterTheEnd = self->ended > 0;
  };
  const auto end = [](void* place) { ++static_cast<Context*>(place)->ended; };
  ASSERT_EQ(refusal(orx_observe_user(tell, &context, end, &context.observation)), 0);
  userWith(Dictionary{{"login", "ada"}});
  EXPECT_FALSE(context.toldAfterTheEnd);
  EXPECT_EQ(context.ended, 1);
}

TEST_F(CObservation, NeedsNobodyWhoIsToldOfItsEnd) {
  orx_observation* observation = nullptr;
  ToldBox box;
  ASSERT_EQ(refusal(orx_observe_user(putTold, &box, nullptr, &observation)), 0);
  userWith(Dictionary{{"login", "ada"}});
  EXPECT_EQ(box.take().login, "ada");
  orx_observation_release(observation);
}

}  // namespace
}  // namespace orx
