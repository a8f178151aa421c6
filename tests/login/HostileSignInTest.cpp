// SPDX-License-Identifier: MIT
// Sign-ins that a broken or malicious server answers: one report each, and whoever was signed in
// before stays so whenever it is an error.
#include "support/HostileAnswers.h"
#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

enum class Kind { Password, OpenID, OpenIDV2, Ticket };

class HostileSignIn : public SignInFixture, public ::testing::WithParamInterface<Kind> {
 protected:
  void start() {
    switch (GetParam()) {
      case Kind::Password:
        return manager()->loginWithParameters(Dictionary());
      case Kind::OpenID:
        return manager()->loginOpenIDWithParameters(Dictionary());
      case Kind::OpenIDV2:
        return manager()->loginOpenIDV2WithParameters(Dictionary());
      case Kind::Ticket:
        return manager()->loginWithTicket("T");
    }
  }
  // A sign-in that succeeds, as the bytes of its answer.
  static std::string goodAnswer() {
    switch (GetParam()) {
      case Kind::OpenIDV2:
        return R"({"Status":0,"Message":"é","Result":{"Login":"new"}})";
      case Kind::Ticket:
        return soapAnswer(
            resultBlock("0", "é", "XmlString", xmlEscaped("<r><login>new</login></r>")));
      default:
        return soapAnswer(resultBlock("1", "é", "Json", R"([{"login":"new"}])"));
    }
  }
  // Signs in against the answer and expects an error that leaves everything as it was.
  void expectFailure(const std::string& body, const std::string& name) {
    const auto before = ORVAAccountUser::currentUser();
    ASSERT_NE(before, nullptr);
    answerWith(body);
    start();
    const LoginReport outcome = report();
    EXPECT_NE(outcome.error, nullptr) << name;
    EXPECT_EQ(outcome.user, before) << name;
    EXPECT_EQ(ORVAAccountUser::currentUser(), before) << name;
  }
  // Another sign-in's report is the next one to come, so nothing was reported twice.
  void expectNothingMoreThanTheNextSignIn() {
    answerWith(goodAnswer());
    start();
    const LoginReport outcome = report();
    EXPECT_EQ(outcome.error, nullptr);
    EXPECT_EQ(outcome.user->login(), "new");
    EXPECT_EQ(delegate().reports.count(), 0U);
    EXPECT_TRUE(eventually([] { return manager()->loginWithTicketTasks()->empty(); }));
  }
};

TEST_P(HostileSignIn, KeepsTheUser) {
  signIn("first");
  for (const HostileAnswer& hostile : hostileAnswers()) expectFailure(hostile.text, hostile.name);
  expectNothingMoreThanTheNextSignIn();
}

TEST_P(HostileSignIn, KeepsTheUserWhenTheAnswerIsCutAtAnyByte) {
  signIn("first");
  const std::string whole = goodAnswer();
  // A result block is good as soon as it is whole, whatever is missing after it.
  const auto blockEnd = whole.find("</ReturnData>");
  const bool isPattern = GetParam() == Kind::Password || GetParam() == Kind::OpenID;
  const std::size_t end =
      isPattern ? blockEnd + std::string_view("</ReturnData>").size() : whole.size();
  for (std::size_t length = 0; length < end; ++length) {
    expectFailure(whole.substr(0, length), std::to_string(length));
  }
  expectNothingMoreThanTheNextSignIn();
}

TEST_P(HostileSignIn, KeepsTheUserWhenTheConnectionBreaksAtAnyByte) {
  signIn("first");
  const auto before = ORVAAccountUser::currentUser();
  const Answer whole = Answer::reply(200, goodAnswer());
  const bool isPattern = GetParam() == Kind::Password || GetParam() == Kind::OpenID;
  const std::size_t end =
      isPattern ? whole.bytes.find("</ReturnData>") + std::string_view("</ReturnData>").size()
                : whole.bytes.size();
  // Every byte of the head's last field and of the body; each takes a connection.
  for (std::size_t length = whole.headSize() - 20; length < end; ++length) {
    answerWith(whole.cutAfter(length, TLSTestServer::End::cut));
    start();
    const LoginReport outcome = report();
    EXPECT_NE(outcome.error, nullptr) << length;
    EXPECT_EQ(outcome.user, before);
  }
  expectNothingMoreThanTheNextSignIn();
}

INSTANTIATE_TEST_SUITE_P(, HostileSignIn,
                         ::testing::Values(Kind::Password, Kind::OpenID, Kind::OpenIDV2,
                                           Kind::Ticket),
                         [](const auto& row) {
                           switch (row.param) {
                             case Kind::Password:
                               return "Password";
                             case Kind::OpenID:
                               return "OpenID";
                             case Kind::OpenIDV2:
                               return "OpenIDV2";
                             case Kind::Ticket:
                               return "Ticket";
                           }
                           return "Unknown";
                         });

// ---- A good answer of the service around a hostile document ----

class HostileTicketDocument : public SignInFixture {
 protected:
  void answerWithDocument(const std::string& xml) {
    answerWith(soapAnswer(resultBlock("0", "OK", "XmlString", xmlEscaped(xml))));
  }
  LoginReport login() {
    manager()->loginWithTicket("T");
    return report();
  }
};

TEST_F(HostileTicketDocument, ReportsTheParsersErrorAndKeepsTheUser) {
  const auto before = signIn("first");
  for (const HostileAnswer& hostile : hostileXML()) {
    // The answer is not XML itself then, or says truly UTF-8 where the text may not be believed.
    if (hostile.name == "UTF8DeclaredAsUTF16") continue;
    answerWithDocument(hostile.text);
    const LoginReport outcome = login();
    ASSERT_NE(outcome.error, nullptr) << hostile.name;
    EXPECT_EQ(outcome.error->domain(), NSXMLParserErrorDomain) << hostile.name;
    EXPECT_EQ(outcome.user, before) << hostile.name;
    EXPECT_EQ(ORVAAccountUser::currentUser(), before);
  }
  EXPECT_TRUE(manager()->loginWithTicketTasks()->empty());
  EXPECT_EQ(delegate().reports.count(), 0U);
  EXPECT_LT(peakMemory(), std::size_t{512} * 1024 * 1024);
}

TEST_F(HostileTicketDocument, NamesPlacesThatNobodyGoesTo) {
  const ForbiddenPlaces places;
  for (const std::string& type : places.documentTypes()) {
    answerWithDocument(type + "<r><login>a&e;b</login></r>");
    const LoginReport outcome = login();
    ASSERT_EQ(outcome.error, nullptr) << type;
    EXPECT_EQ(outcome.user->login(), "ab") << type;
  }
  EXPECT_FALSE(places.fileWasOpened());
  EXPECT_FALSE(places.portWasReached());
}

TEST_F(HostileTicketDocument, MayHaveManyAttributes) {
  answerWithDocument(elementWithAttributes(hostileCount, "<login>a</login>"));
  EXPECT_EQ(login().user->userInfo(), (Dictionary{{"ticket", "T"}, {"login", "a"}}));
}

// ---- Records of foreign types ----

class ForeignRecord : public SignInFixture {
 protected:
  std::shared_ptr<ORVAAccountUser> userFrom(const std::string& json) {
    answerWithRecord(json);
    manager()->loginWithParameters(Dictionary());
    const LoginReport outcome = report();
    EXPECT_EQ(outcome.error, nullptr);
    EXPECT_NE(outcome.user, nullptr);
    EXPECT_EQ(outcome.user, ORVAAccountUser::currentUser());
    return outcome.user;
  }
};

TEST_F(ForeignRecord, IsReadFieldByFieldWhateverTheTypes) {
  for (const std::string value : {"null", "[]", "{}", "[[1]]", R"({"a":{"b":[]}})"}) {
    std::string record;
    for (const std::string name : {"login", "email", "country", "region", "cus_id", "ticket", "pic",
                                   "birthdate", "first_name", "last_name", "nick_name", "mobile"}) {
      record.append(record.empty() ? "{\"" : ",\"").append(name).append("\":").append(value);
    }
    const auto user = userFrom(record + "}");
    EXPECT_EQ(user->login(), std::nullopt) << value;
    EXPECT_EQ(user->country(), std::nullopt);
    EXPECT_EQ(user->birthdate(), std::nullopt);
    EXPECT_FALSE(user->isCNServer());
    EXPECT_TRUE(user->pictureURL()->absoluteString().ends_with("f="));
  }
}

TEST_F(ForeignRecord, KeepsNumbersBeyondEveryWidth) {
  const auto user =
      userFrom(R"({"login":18446744073709551615,"cus_id":-9223372036854775808,"email":1e300,)"
               R"("country":123456789012345678901234567890})");
  EXPECT_EQ(user->login(), "18446744073709551615");
  EXPECT_EQ(user->cusID(), "-9223372036854775808");
  EXPECT_EQ(user->userInfo().value()["email"], Value(1e300));
  EXPECT_EQ(user->userInfo().value()["country"], Value(123456789012345678901234567890.0));
}

TEST_F(ForeignRecord, NullResultOfAnOpenIDV2SignInSignsInARecordWithoutFields) {
  signIn("first");
  answerWith(R"({"Status":0,"Message":"ok","Result":null})");
  manager()->loginOpenIDV2WithParameters(Dictionary());
  const LoginReport outcome = report();
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.user, ORVAAccountUser::currentUser());
  EXPECT_EQ(outcome.user->userInfo(), Dictionary());
}

}  // namespace
}  // namespace orx
