// SPDX-License-Identifier: MIT
#include <ORXAccount/DevelopmentService.h>
#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

#include "devserver/ServiceClient.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {
namespace {

constexpr const char* kAda =
    R"([{"login":"ada@orva.example","passwd":"correct horse","first_name":"Ada",
         "ticket":"ada's ticket"}])";

class Accounts : public ::testing::Test {
 protected:
  void start(const std::string& accounts, const std::string& database = {}) {
    const auto file = directory_ / "accounts.json";
    std::ofstream(file) << accounts;
    DevelopmentServiceOptions options{.accounts = file};
    if (!database.empty()) options.database = directory_ / database;
    service_.start(std::move(options));
  }
  ServiceClient client() const { return ServiceClient(service_); }
  Reply signIn(const std::string& login = "ada@orva.example") const {
    return client().call("w000000011", R"({"login":")" + login + R"(","passwd":"correct horse"})");
  }
  std::string nameOf(const std::string& ticket) const {
    const auto reply = client().call("sso0000004", R"({"Ticket":")" + ticket + "\"}");
    const std::size_t at = reply.body.find("&lt;first_name&gt;");
    return at == std::string::npos ? "nobody" : reply.body.substr(at + 18, 3);
  }

  const TemporaryDirectory directory_;
  DevelopmentService service_;
};

TEST_F(Accounts, OfAFileAreThereFromTheStart) {
  start(kAda);
  EXPECT_EQ(signIn().element("ResultCode"), "1");
  EXPECT_EQ(nameOf("ada's ticket"), "Ada");
}

TEST_F(Accounts, OfAFileMayBeIdentitiesOfOtherProviders) {
  start(R"([{"openid_type":"example","openid_uid":"7","nick_name":"Seven"}])");
  const auto reply = client().call("w000000019", R"({"openid_type":"example","openid_uid":"7"})");
  EXPECT_NE(reply.body.find("Seven"), std::string::npos);
  EXPECT_NE(reply.body.find("C00001001"), std::string::npos);
}

TEST_F(Accounts, ThatADatabaseHoldsStayAsTheyAre) {
  {
    DevelopmentService earlier;
    std::ofstream(directory_ / "accounts.json") << kAda;
    earlier.start({.database = directory_ / "a.db", .accounts = directory_ / "accounts.json"});
    ServiceClient(earlier).call("w000000014", R"({"ticket":"ada's ticket","first_name":"Eve"})");
  }
  start(kAda, "a.db");
  EXPECT_EQ(nameOf("ada's ticket"), "Eve");
}

TEST_F(Accounts, CanBeAddedWhileTheServiceRuns) {
  service_.start();
  EXPECT_EQ(signIn().element("ResultCode"), "0");
  service_.addAccounts(kAda);
  EXPECT_EQ(signIn().element("ResultCode"), "1");
}

TEST_F(Accounts, AreThoseOfTheStartAfterAReset) {
  start(kAda);
  const ServiceClient client(service_);
  const std::string ticket = ticketOfNewAccount(client, "bo@orva.example");
  const std::string link =
      client.call("sso0000006", R"({"ticket":"ada's ticket"})").element("ReturnData");
  service_.setFaults(R"([{"match":{"path":"/"},"do":{"status":500}}])");
  service_.reset();
  EXPECT_EQ(service_.requests().size(), 0U);
  EXPECT_EQ(service_.requestCount("w000000011"), 0U);
  EXPECT_EQ(service_.requestCountOfHost(service_.hosts()[0]), 0U);
  EXPECT_EQ(signIn("bo@orva.example").element("ResultCode"), "0");
  EXPECT_EQ(nameOf(ticket), "nobody");
  EXPECT_EQ(nameOf("ada's ticket"), "Ada");
  EXPECT_EQ(client.get(link).status, 410);
  EXPECT_EQ(client.get(globalURL("/")).status, 200);
  // Numbers begin anew.
  EXPECT_EQ(client.call("w000000012", R"({"login":"c@orva.example","passwd":"correct horse"})")
                .element("ReturnData"),
            "C00001002");
}

TEST_F(Accounts, OfADatabaseGoWithAReset) {
  start("[]", "a.db");
  const std::string ticket = ticketOfNewAccount(client());
  service_.reset();
  EXPECT_EQ(nameOf(ticket), "nobody");
  EXPECT_EQ(signIn().element("ResultCode"), "0");
}

struct WrongAccounts {
  const char* name;
  const char* text;
  // The place is the end of the word that is wrong.
  const char* complaint;
};

class WrongAccountsFile : public ::testing::TestWithParam<WrongAccounts> {};

TEST_P(WrongAccountsFile, IsRefusedWithItsPlace) {
  const TemporaryDirectory directory;
  const auto file = directory / "accounts.json";
  std::ofstream(file) << GetParam().text;
  DevelopmentService service;
  try {
    service.start({.accounts = file});
    FAIL() << "accepted";
  } catch (const std::invalid_argument& problem) {
    EXPECT_EQ(problem.what(), file.string() + ": " + GetParam().complaint);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, WrongAccountsFile,
    ::testing::Values(
        WrongAccounts{"NoJSON", "[\n {\"passwd\":\"secret\" \"a\":1}]",
                      "line 2, column 23: this is no JSON"},
        WrongAccounts{"AnObject", "{}", "this is no JSON array of accounts"},
        WrongAccounts{"ANumberTooLarge", "[1e999]", "a number is too large"},
        WrongAccounts{"NoObject", "[{\"login\":\"a@b.cd\",\"passwd\":\"12345678\"},7]",
                      "account 2: this is no object"},
        WrongAccounts{"AnUnknownField", R"([{"password":"12345678"}])",
                      "account 1: \"password\" is no field of an account"},
        WrongAccounts{"ANumber", R"([{"login":"a@b.cd","passwd":12345678}])",
                      "account 1: \"passwd\" takes text"},
        WrongAccounts{"AShortPassword", R"([{"login":"a@b.cd","passwd":"1234567"}])",
                      "account 1: passwd can not empty or be 8~25 in length"},
        WrongAccounts{"NoUID", R"([{"openid_type":"example"}])", "account 1: OpenID Error"},
        WrongAccounts{"BothKinds", R"([{"openid_type":"e","openid_uid":"1","passwd":"12345678"}])",
                      "account 1: it has a password or an identity, not both"},
        WrongAccounts{"OneTwice",
                      R"([{"login":"a@b.cd","passwd":"12345678"},
                          {"login":"A@B.CD","passwd":"12345678"}])",
                      "account 2: it is account 1 again"},
        WrongAccounts{"ATicketOfTwo",
                      R"([{"login":"a@b.cd","passwd":"12345678","ticket":"t"},
                          {"login":"b@b.cd","passwd":"12345678","ticket":"t"}])",
                      "account 2: its ticket is another account's"}),
    [](const auto& about) { return about.param.name; });

}  // namespace
}  // namespace orx::testing
