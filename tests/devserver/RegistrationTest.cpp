// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <future>
#include <vector>

#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

class Registration : public ::testing::Test {
 protected:
  Registration() { service_.start(); }

  Reply registerWith(const std::string& login, const std::string& password) {
    return client().call("w000000012",
                         R"({"login":")" + login + R"(","passwd":")" + password + R"("})");
  }
  ServiceClient client() const { return ServiceClient(service_); }

  DevelopmentService service_;
};

TEST_F(Registration, CountsThePasswordInCharacters) {
  EXPECT_EQ(registerWith("a@orva.example", "1234567").element("ResultCode"), "0");
  EXPECT_EQ(registerWith("b@orva.example", "12345678").element("ResultCode"), "1");
  EXPECT_EQ(registerWith("c@orva.example", std::string(25, 'x')).element("ResultCode"), "1");
  EXPECT_EQ(registerWith("d@orva.example", std::string(26, 'x')).element("ResultCode"), "0");
  // Seven and eight characters of three bytes each.
  EXPECT_EQ(registerWith("e@orva.example", "密密密密密密密").element("ResultDesc"),
            "passwd can not empty or be 8~25 in length");
  EXPECT_EQ(registerWith("f@orva.example", "密密密密密密密密").element("ResultCode"), "1");
}

TEST_F(Registration, TakesTheLoginForTheAddressAndTheAddressForTheLogin) {
  const auto email =
      client().call("w000000012", R"({"email":"only@orva.example","passwd":"correct horse"})");
  EXPECT_EQ(email.element("ResultCode"), "1");
  const auto byLogin =
      client().call("w000000011", R"({"login":"only@orva.example","passwd":"correct horse"})");
  EXPECT_NE(byLogin.body.find(R"("email":"only@orva.example")"), std::string::npos);
}

TEST_F(Registration, AcceptsALoginThatIsNoAddressBesideAnAddress) {
  const auto reply = client().call(
      "w000000012", R"({"login":"ada","email":"ada@orva.example","passwd":"correct horse"})");
  EXPECT_EQ(reply.element("ResultCode"), "1");
  EXPECT_EQ(registerWith("bo", "correct horse").element("ResultDesc"), "Email Format Error");
}

class BadAddress : public Registration, public ::testing::WithParamInterface<const char*> {};

TEST_P(BadAddress, IsRefused) {
  EXPECT_EQ(registerWith(GetParam(), "correct horse").element("ResultDesc"), "Email Format Error");
}

INSTANTIATE_TEST_SUITE_P(All, BadAddress,
                         ::testing::Values("", "@", "a@", "@b.example", "a@b", "a b@c.example",
                                           "a@b..example", ".a@b.example", "a@b.example.",
                                           "a@b@c.example", "x:1@b.example"));

TEST_F(Registration, MakesOneAccountOfALoginThatManyAskForAtOnce) {
  std::vector<std::future<std::string>> answers;
  answers.reserve(8);
  for (int i = 0; i < 8; ++i) {
    answers.push_back(std::async(std::launch::async, [this] {
      return registerWith("same@orva.example", "correct horse").element("ResultDesc");
    }));
  }
  int made = 0;
  for (auto& answer : answers) {
    const std::string text = answer.get();
    EXPECT_TRUE(text == "Success" || text == "This account already registered") << text;
    made += text == "Success" ? 1 : 0;
  }
  EXPECT_EQ(made, 1);
}

TEST_F(Registration, ComplainsAboutTheCredentialsBeforeTheParameters) {
  EXPECT_EQ(client().call("w000000012", "no JSON", {"no-app", "no-key"}).element("ResultDesc"),
            "AppID Error");
  EXPECT_EQ(client().call("w000000012", "no JSON", {"demo-app", "no-key"}).element("ResultDesc"),
            "AppKey Error");
  EXPECT_EQ(client().call("w000000099", "no JSON").element("ResultDesc"), "ApiID Error");
}

TEST_F(Registration, CompletesABirthDateWithoutATime) {
  client().call("w000000012",
                R"({"login":"a@orva.example","passwd":"correct horse","birthdate":"1985-07-14"})");
  const auto reply =
      client().call("w000000011", R"({"login":"a@orva.example","passwd":"correct horse"})");
  EXPECT_NE(reply.body.find(R"("birthdate":"1985-07-14T00:00:00")"), std::string::npos);
}

TEST_F(Registration, KeepsThePasswordOutOfTheRecord) {
  registerWith("a@orva.example", "correct horse");
  const auto reply =
      client().call("w000000011", R"({"login":"a@orva.example","passwd":"correct horse"})");
  EXPECT_EQ(reply.element("ResultCode"), "1");
  EXPECT_EQ(reply.body.find("horse"), std::string::npos);
  EXPECT_EQ(reply.body.find("passwd"), std::string::npos);
}

}  // namespace
}  // namespace orx::testing
