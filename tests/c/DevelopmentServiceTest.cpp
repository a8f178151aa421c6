// SPDX-License-Identifier: MIT
// The life of an account against the development service, through the C interface alone.

#include <ORXAccount/DevelopmentService.h>

#include "c/CHost.h"

namespace orx {
namespace {

using namespace orx::testing;

constexpr const char* kAda =
    R"({"login":"ada@example.com","passwd":"correct horse","email":"ada@example.com",)"
    R"("first_name":"Ada","nick_name":"Ada 妮"})";
constexpr const char* kIdentity = R"({"openid_type":"lighthouse","openid_uid":"88"})";

class CDevelopmentService : public ::testing::Test {
 protected:
  CDevelopmentService() {
    service_.start();
    std::string places;
    for (const std::string& host : service_.hosts()) {
      places += host + "=127.0.0.1:" + std::to_string(service_.port()) + ",";
    }
    places.pop_back();
    EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_CA_FILE, service_.caFile().c_str())), 0);
    EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_CONNECT_TO, places.c_str())), 0);
    EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_PROXY, "")), 0);
    EXPECT_EQ(refusal(orx_initialize("demo-app", "demo-key", 0)), 0);
  }
  ~CDevelopmentService() override { EXPECT_EQ(refusal(orx_sign_out()), 0); }

  using Function = orx_error* (*)(const char* text, orx_callback callback, void* context);

  Told told(Function start, const std::string& text) {
    EXPECT_EQ(refusal(start(text.c_str(), putTold, &box_)), 0);
    return box_.take();
  }
  static std::string field(const char* key) {
    return textAt(orx_user_text(currentUser().get(), key)).value_or("(none)");
  }
  static std::string ticketParameter() { return R"({"ticket":")" + field(ORX_TICKET) + R"("})"; }

 private:
  StorageHome home_;
  DevelopmentService service_;
  ToldBox box_;
};

TEST_F(CDevelopmentService, RegistersSignsInAndOutByPassword) {
  EXPECT_EQ(told(orx_register, kAda).json, R"({"cus_id":"C00001001"})");
  EXPECT_EQ(told(orx_register, kAda).code, ORX_ERROR_ALREADY_REGISTERED);
  EXPECT_EQ(told(orx_sign_in, R"({"login":"ada@example.com","passwd":"wrong one"})").code,
            ORX_ERROR_PASSWORD);
  EXPECT_EQ(currentUser(), nullptr);
  EXPECT_EQ(told(orx_sign_in, kAda).login, "ada@example.com");
  EXPECT_EQ(field(ORX_NICK_NAME), "Ada 妮");
  EXPECT_EQ(refusal(orx_sign_out()), 0);
  EXPECT_EQ(currentUser(), nullptr);
}

TEST_F(CDevelopmentService, SignsInWithIdentitiesOverBothInterfaces) {
  EXPECT_TRUE(told(orx_sign_in_openid, kIdentity).isResult);
  const std::string other = R"({"openid_type":"lighthouse","openid_uid":"99"})";
  EXPECT_EQ(told(orx_sign_in_openid_v2, other).errorText, "This account is not registered");
  EXPECT_TRUE(told(orx_register_v2, other).isResult);
  EXPECT_TRUE(told(orx_sign_in_openid_v2, other).isResult);
  EXPECT_EQ(field(ORX_CUS_ID), "C00001002");
}

TEST_F(CDevelopmentService, SignsInWithATicketAndFetchesItsData) {
  told(orx_register, kAda);
  told(orx_sign_in, kAda);
  const std::string ticket = field(ORX_TICKET);
  EXPECT_NE(told(orx_fetch_user_data, ticket).json->find(R"("login":"ada@example.com")"),
            std::string::npos);
  EXPECT_EQ(refusal(orx_sign_out()), 0);
  EXPECT_EQ(told(orx_sign_in_ticket, ticket).login, "ada@example.com");
  EXPECT_EQ(told(orx_sign_in_ticket, "made up").code, -4);
}

TEST_F(CDevelopmentService, ServesListsWebSessionsOtherCallsAndPictures) {
  told(orx_register, kAda);
  told(orx_sign_in, kAda);
  EXPECT_NE(told(orx_fetch_list, ORX_LIST_PROFESSIONS).json->find("Administration"),
            std::string::npos);
  EXPECT_EQ(told(orx_web_sso, ticketParameter()).text->find("https://"), 0U);
  const auto check = [](const char* parameters, orx_callback callback, void* context) {
    return orx_call("w000000015", parameters, callback, context);
  };
  EXPECT_EQ(told(check, R"({"login":"free@example.com"})").json,
            R"({"login":"free@example.com","available":true})");
  const auto picture = [](const char* /*text*/, orx_callback callback, void* context) {
    return orx_user_load_picture(currentUser().get(), callback, context);
  };
  EXPECT_GT(told(picture, "").bytes.size(), 100U);
}

}  // namespace
}  // namespace orx
