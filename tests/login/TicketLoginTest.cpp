// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <stdexcept>

#include "allocations/FailingAllocation.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

class TicketLogin : public SignInFixture {
 protected:
  // The service's answer with this XML document as its data.
  void answerWithDocument(const std::string& xml, std::string_view type = "XmlString") {
    answerWith(soapAnswer(resultBlock("0", "OK", type, xmlEscaped(xml))));
  }
  LoginReport login(const std::string& ticket = "T") {
    manager()->loginWithTicket(ticket);
    return report();
  }
  Dictionary infoFrom(const std::string& xml) {
    answerWithDocument(xml);
    const LoginReport outcome = login();
    EXPECT_EQ(outcome.error, nullptr);
    return outcome.user->userInfo().value();
  }
};

TEST_F(TicketLogin, TheDocumentsFieldsAndTheTicketMakeTheUser) {
  answerWithDocument("<r><login>a</login><email>b</email></r>");
  const LoginReport outcome = login("T/1");
  EXPECT_EQ(outcome.manager, manager().get());
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.user, ORVAAccountUser::currentUser());
  EXPECT_EQ(outcome.user->userInfo(),
            (Dictionary{{"ticket", "T/1"}, {"login", "a"}, {"email", "b"}}));
  EXPECT_EQ(between(onlyRequest().body, "<Parameters>", "</Parameters>"), R"({"Ticket":"T\/1"})");
  EXPECT_TRUE(eventually([] { return manager()->loginWithTicketTasks()->empty(); }));
}

TEST_F(TicketLogin, AnIndentedDocumentKeepsItsWhiteSpace) {
  EXPECT_EQ(infoFrom("<r>\n  <login>a</login>\n  <email>b</email>\n</r>"),
            (Dictionary{{"ticket", "T"}, {"login", "\n  a"}, {"email", "\n  b"}, {"r", "\n"}}));
}

TEST_F(TicketLogin, TextBeforeAChildJoinsTheChilds) {
  EXPECT_EQ(infoFrom("<a>x<b>y</b></a>"), (Dictionary{{"ticket", "T"}, {"b", "xy"}}));
}

TEST_F(TicketLogin, AnEmptyElementIsRecordedOnlyWithWhiteSpaceBeforeIt) {
  EXPECT_EQ(infoFrom("<r><nick/><login>a</login></r>"),
            (Dictionary{{"ticket", "T"}, {"login", "a"}}));
  EXPECT_EQ(infoFrom("<r> <nick></nick></r>"), (Dictionary{{"ticket", "T"}, {"nick", " "}}));
}

// The end of a document, whatever allocation fails there.
TEST_F(TicketLogin, WithoutMemoryReportsOnce) {
  const auto before = signIn("before");
  const auto parser = XMLParser::initWithText(Data("<a/>"));
  const Dictionary task{{kLoginWithTicketXMLParser, parser},
                        {kLoginWithTicketReturnDataDictionary, Dictionary{{"login", "someone"}}}};
  int failures = 0;
  failEachAllocation(
      [&] {
        ORVAAccountUser::setCurrentUser(before);
        manager()->setLoginWithTicketTasks(std::vector{task});
      },
      [&] { manager()->parserDidEndDocument(*parser); },
      [&](bool threw) {
        EXPECT_FALSE(threw);
        const LoginReport outcome = report();
        EXPECT_EQ(outcome.user, ORVAAccountUser::currentUser());
        if (outcome.error) {
          ++failures;
          EXPECT_EQ(outcome.error->code(), ENOMEM);
          EXPECT_EQ(outcome.user, before);
        } else {
          EXPECT_EQ(outcome.user->login(), "someone");
        }
      });
  EXPECT_GT(failures, 0);
  EXPECT_EQ(delegate().reports.count(), 0U);
}

TEST_F(TicketLogin, MemoryThatRunsOutWhileTheUserIsArchivedIsReported) {
  class Insatiable final : public SecureCoding {
   public:
    std::string_view archivedClassName() const override { return "Insatiable"; }
    void encodeWithCoder(Coder&) const override { throw std::bad_alloc(); }
  };
  platform::setClass_forClassName([](const Coder&) { return std::make_shared<Insatiable>(); },
                                  "Insatiable");
  const auto before = signIn("before");
  const auto parser = XMLParser::initWithText(Data("<a/>"));
  manager()->setLoginWithTicketTasks(std::vector{Dictionary{
      {kLoginWithTicketXMLParser, parser},
      {kLoginWithTicketReturnDataDictionary,
       Dictionary{{"login", std::shared_ptr<Object>(std::make_shared<Insatiable>())}}}}});
  manager()->parserDidEndDocument(*parser);
  const LoginReport outcome = report();
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->code(), ENOMEM);
  EXPECT_EQ(outcome.user, before);
}

TEST_F(TicketLogin, ATicketElementReplacesTheCallersTicket) {
  EXPECT_EQ(infoFrom("<r><ticket>new</ticket></r>"), (Dictionary{{"ticket", "new"}}));
}

TEST_F(TicketLogin, ReferencesAreDecodedAndCdataIsDropped) {
  EXPECT_EQ(infoFrom("<r><a>&lt;&#233;</a><b><![CDATA[x]]></b></r>"),
            (Dictionary{{"ticket", "T"}, {"a", "<é"}}));
}

TEST_F(TicketLogin, TheDocumentsOwnEncodingIsNotBelieved) {
  EXPECT_EQ(infoFrom(R"(<?xml version="1.0" encoding="utf-16"?><r><a>é</a></r>)"),
            (Dictionary{{"ticket", "T"}, {"a", "é"}}));
}

TEST_F(TicketLogin, AFetchFailureReportsTheUnchangedUser) {
  const auto before = signIn("first");
  answerWith(soapAnswer(resultBlock("3", "no such ticket", "", "")));
  LoginReport outcome = login();
  EXPECT_EQ(outcome.user, before);
  EXPECT_EQ(outcome.error->code(), 3);
  answerWith("<broken");
  outcome = login();
  EXPECT_EQ(outcome.user, before);
  EXPECT_EQ(outcome.error->domain(), NSXMLParserErrorDomain);
  answerWith(Answer::hangUp(TLSTestServer::End::cut));
  outcome = login();
  EXPECT_EQ(outcome.user, before);
  EXPECT_EQ(outcome.error->domain(), NSURLErrorDomain);
  EXPECT_TRUE(manager()->loginWithTicketTasks()->empty());
  EXPECT_EQ(ORVAAccountUser::currentUser(), before);
}

TEST_F(TicketLogin, DataThatIsNotXMLIsLoggedAndReportedWithoutAnError) {
  const auto before = signIn("first");
  answerWithDocument("plain text", "String");
  ::testing::internal::CaptureStderr();
  const LoginReport outcome = login();
  EXPECT_THAT(
      ::testing::internal::GetCapturedStderr(),
      ::testing::HasSubstr("[OrvaAccount] The return data is not XML format: plain text\n"));
  EXPECT_EQ(outcome.user, before);
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_TRUE(manager()->loginWithTicketTasks()->empty());
}

TEST_F(TicketLogin, AbsentDataIsLoggedAsNull) {
  answerWith(soapAnswer(resultBlock("0", "OK", "String", std::nullopt)));
  ::testing::internal::CaptureStderr();
  const LoginReport outcome = login();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              ::testing::HasSubstr("[OrvaAccount] The return data is not XML format: (null)\n"));
  EXPECT_EQ(outcome.user, nullptr);
  EXPECT_EQ(outcome.error, nullptr);
}

TEST_F(TicketLogin, AnInnerDocumentThatIsBrokenReportsTheParsersErrorOnce) {
  const auto before = signIn("first");
  const std::string whole = "<r><login>a</login></r>";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    answerWithDocument(whole.substr(0, length) + (length == 0 ? " " : ""));
    const LoginReport outcome = login();
    EXPECT_EQ(outcome.user, before) << length;
    ASSERT_NE(outcome.error, nullptr) << length;
    EXPECT_EQ(outcome.error->domain(), NSXMLParserErrorDomain);
  }
  EXPECT_EQ(ORVAAccountUser::currentUser(), before);
  EXPECT_TRUE(manager()->loginWithTicketTasks()->empty());
  EXPECT_EQ(delegate().reports.count(), 0U);
}

TEST_F(TicketLogin, AnEmptyTicketIsSentAsItIs) {
  answerWith(Answer::hangUp(TLSTestServer::End::cut));
  manager()->loginWithTicket("");
  EXPECT_NE(report().error, nullptr);
  EXPECT_EQ(between(onlyRequest().body, "<Parameters>", "</Parameters>"), R"({"Ticket":""})");
}

TEST_F(TicketLogin, MissingCredentialsThrowAndSendNothing) {
  ORVAAccount::sharedInstance()->setAppKey(std::nullopt);
  EXPECT_THROW(manager()->loginWithTicket("T"), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
}

TEST_F(TicketLogin, ManyAtOnceReportEachOnce) {
  answerBy([](const Request& request) {
    const std::string ticket = between(request.body, R"({"Ticket":")", "\"");
    return Answer::reply(
        200, soapAnswer(resultBlock("0", "OK", "XmlString",
                                    xmlEscaped("<r><login>" + ticket + "</login></r>"))));
  });
  constexpr int kCalls = 20;
  for (int call = 0; call < kCalls; ++call) {
    manager()->loginWithTicket(std::string("T").append(std::to_string(call)));
  }
  for (int call = 0; call < kCalls; ++call) {
    const LoginReport outcome = report();
    EXPECT_EQ(outcome.error, nullptr);
    EXPECT_EQ(outcome.user->login(), outcome.user->ticket());
  }
  EXPECT_TRUE(manager()->loginWithTicketTasks()->empty());
}

TEST_F(TicketLogin, AManagerOfOnesOwnHasNoTaskListAndReportsNothing) {
  const auto own = ORVAAccountLoginManager::init();
  EXPECT_EQ(own->loginWithTicketTasks(), std::nullopt);
  const auto ownDelegate = std::make_shared<RecordingDelegate>();
  own->setDelegate(ownDelegate);
  answerWithDocument("<r><login>a</login></r>");
  own->loginWithTicket("T");
  static_cast<void>(server().awaitRequests(1));
  // The shared manager's sign-in comes after it and is the last to report.
  EXPECT_EQ(login().user->login(), "a");
  EXPECT_EQ(ownDelegate->reports.count(), 0U);
  // Given a list, it reports like any other.
  own->setLoginWithTicketTasks(std::vector<Dictionary>());
  own->loginWithTicket("T");
  EXPECT_EQ(ownDelegate->reports.take().user->login(), "a");
}

TEST_F(TicketLogin, ATaskIsFoundByItsParsersIdentity) {
  const auto parser = XMLParser::initWithText(Data("<a/>"));
  const auto other = XMLParser::initWithText(Data("<a/>"));
  const Dictionary task{{"kLoginWithTicketXMLParser", parser},
                        {"kLoginWithTicketReturnDataDictionary", Dictionary{{"ticket", "T"}}},
                        {"kLoginWithTicketParsingString", "so far"}};
  manager()->setLoginWithTicketTasks(std::vector<Dictionary>{task});
  EXPECT_EQ(manager()->taskDictionaryWithXMLParser(parser.get()), task);
  EXPECT_EQ(manager()->taskDictionaryWithXMLParser(other.get()), std::nullopt);
  EXPECT_EQ(manager()->taskDictionaryWithXMLParser(nullptr), std::nullopt);
}

TEST_F(TicketLogin, AReportThatBlocksHoldsUpNoOtherSignIn) {
  class Blocking : public RecordingDelegate {
   public:
    void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                             const std::shared_ptr<ORVAAccountUser>& user,
                                             const std::shared_ptr<Error>& error) override {
      const bool isFirst = reports.count() == 0;
      reports.put({&manager, user, error});
      if (isFirst) {
        EXPECT_TRUE(gate.wait());
      }
      ended.put(true);
    }
    Event gate;
    Mailbox<bool> ended;
  };
  const auto blocking = std::make_shared<Blocking>();
  manager()->setDelegate(blocking);
  answerWithDocument("<r><login>a</login></r>");
  manager()->loginWithTicket("T1");
  ASSERT_TRUE(eventually([&] { return blocking->reports.count() == 1; }));
  manager()->loginWithTicket("T2");
  EXPECT_TRUE(blocking->ended.take());
  blocking->gate.set();
  EXPECT_TRUE(blocking->ended.take());
}

}  // namespace
}  // namespace orx
