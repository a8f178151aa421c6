// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include <thread>

#include "support/AccountServiceFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

// Records what a parser reports.
class Recorder : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser& /*parser*/, std::string_view characters) override {
    text += characters;
  }
  void parser_didEndElement_namespaceURI_qualifiedName(XMLParser& /*parser*/,
                                                       std::string_view elementName,
                                                       std::optional<std::string_view>,
                                                       std::optional<std::string_view>) override {
    ends.emplace_back(elementName);
  }

  std::string text;
  std::vector<std::string> ends;
};

class UserData : public AccountServiceFixture {
 protected:
  Report fetch() {
    return outcomeOf([&](auto handler) {
      api()->getUserData_completionHandler(Dictionary{{"Ticket", "T/1"}}, handler);
    });
  }
  Report answered(const std::string& body, int status = 200) {
    answerWith(body, status);
    return fetch();
  }
};

TEST_F(UserData, SendsTheTicketInTheSoap12Envelope) {
  answerWith("<a/>");
  fetch();
  const Request request = onlyRequest();
  EXPECT_EQ(request.target, "/ws/OrvaService.asmx");
  EXPECT_EQ(request.header("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(between(request.body, "<Parameters>", "</Parameters>"), R"({"Ticket":"T\/1"})");
  EXPECT_NE(request.body.find("<soap12:Header><AuthHeader "), std::string::npos);
}

TEST_F(UserData, XmlStringHandsOutAParserThatHasNotBeenRun) {
  const Report outcome = answered(soapAnswer(
      resultBlock("0", "words", "XmlString", xmlEscaped("<r><login>a&amp;b</login></r>"))));
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  const auto parser = outcome.result->returnData().objectOf<XMLParser>();
  ASSERT_NE(parser, nullptr);
  EXPECT_EQ(parser->delegate(), nullptr);
  const auto recorder = std::make_shared<Recorder>();
  parser->setDelegate(recorder);
  EXPECT_TRUE(parser->parse());
  EXPECT_EQ(recorder->text, "a&b");
  EXPECT_EQ(recorder->ends, (std::vector<std::string>{"login", "r"}));
}

TEST_F(UserData, TheInnerTextsOwnEncodingIsNotBelieved) {
  const Report outcome = answered(
      soapAnswer(resultBlock("0", "words", "XmlString",
                             xmlEscaped(R"(<?xml version="1.0" encoding="utf-16"?><r>é</r>)"))));
  const auto parser = outcome.result->returnData().objectOf<XMLParser>();
  ASSERT_NE(parser, nullptr);
  const auto recorder = std::make_shared<Recorder>();
  parser->setDelegate(recorder);
  EXPECT_TRUE(parser->parse());
  EXPECT_EQ(recorder->text, "é");
}

TEST_F(UserData, AnAnswerIsReadInTheEncodingThatItDeclares) {
  const Report outcome = answered(R"(<?xml version="1.0" encoding="GB2312"?><r>)" +
                                  resultBlock("0", "\xD6\xD0", "String", "\xCE\xC4") + "</r>");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "\u4E2D");
  EXPECT_EQ(outcome.result->returnData(), Value("\u6587"));
}

TEST_F(UserData, AnyOtherDataTypeHandsBackTheTextDecoded) {
  for (const std::string_view type : {"String", "xmlstring", "XmlString ", "Json"}) {
    const Report outcome = answered(soapAnswer(resultBlock("0", "words", type, "a &lt;b&gt;")));
    ASSERT_NE(outcome.result, nullptr) << type;
    EXPECT_EQ(outcome.result->returnData(), Value("a <b>"));
  }
}

TEST_F(UserData, AnEmptyElementLeavesTheDataNull) {
  for (const auto data : {std::optional<std::string_view>(), std::optional<std::string_view>("")}) {
    const Report outcome = answered(soapAnswer(resultBlock("0", "words", "String", data)));
    ASSERT_NE(outcome.result, nullptr);
    EXPECT_TRUE(outcome.result->returnData().isNull());
  }
}

TEST_F(UserData, XmlWithoutReturnDataHandsOutAParserOverNothing) {
  const Report outcome = answered(soapAnswer(resultBlock("0", "w", "XmlString", std::nullopt)));
  const auto parser = outcome.result->returnData().objectOf<XMLParser>();
  ASSERT_NE(parser, nullptr);
  EXPECT_FALSE(parser->parse());
}

TEST_F(UserData, AnIndentedAnswerKeepsTheWhiteSpaceBeforeEachElement) {
  const Report outcome = answered(
      "<r>\n <ResultCode>0</ResultCode>\n <ResultDesc>words</ResultDesc>\n "
      "<ReturnDataType>XmlString</ReturnDataType>\n <ReturnData>x</ReturnData>\n</r>");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "\n words");
  EXPECT_EQ(outcome.result->returnData(), Value("\n x"));
}

TEST_F(UserData, TextInCdataIsNotGathered) {
  const Report outcome = answered(
      "<r><ResultCode>0</ResultCode><ResultDesc>a<![CDATA[ b ]]>c</ResultDesc>"
      "<ReturnDataType>String</ReturnDataType><ReturnData><![CDATA[only]]></ReturnData></r>");
  EXPECT_EQ(outcome.result->resultDescription(), "ac");
  EXPECT_TRUE(outcome.result->returnData().isNull());
}

TEST_F(UserData, TheLastOfARepeatedElementCountsAndPrefixesAreKept) {
  const Report outcome = answered(
      "<r><s:ResultCode>5</s:ResultCode><ResultCode>1</ResultCode><ResultCode>0</ResultCode>"
      "<ResultDesc>first</ResultDesc><x><ResultDesc>last</ResultDesc></x></r>");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "last");
}

TEST_F(UserData, TextBeforeAChildJoinsTheChilds) {
  const Report outcome = answered("<r>x<ResultCode>0</ResultCode>y<ResultDesc>z</ResultDesc></r>");
  // "x0" reads as 0: no digits lead it.
  EXPECT_EQ(outcome.result->resultDescription(), "yz");
}

TEST_F(UserData, OtherCodesAreErrorsWithThatVeryCode) {
  const std::vector<std::pair<std::string, std::int64_t>> rows{
      {"1", 1}, {"-1", -1}, {" 42", 42}, {"4294967296", 4294967296}};
  for (const auto& [code, number] : rows) {
    const Report outcome = answered(soapAnswer(resultBlock(code, "AppID Error", "", "")));
    ASSERT_NE(outcome.error, nullptr) << code;
    EXPECT_EQ(outcome.error->domain(), kORVAAccountErrorDomain);
    EXPECT_EQ(outcome.error->code(), number);
    EXPECT_EQ(outcome.error->localizedDescription(), "AppID Error");
  }
}

TEST_F(UserData, AnAnswerWithoutResultCodeIsCodeZeroWithTheDescription) {
  const Report outcome = answered("<r><ResultDesc>why</ResultDesc></r>");
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->domain(), kORVAAccountErrorDomain);
  EXPECT_EQ(outcome.error->code(), 0);
  EXPECT_EQ(outcome.error->localizedDescription(), "why");
}

TEST_F(UserData, AnAnswerWithoutCodeAndDescriptionIsCodeZeroWithoutDetails) {
  const Report outcome = answered("<soap:Fault xmlns:soap='s'><reason>x</reason></soap:Fault>");
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->code(), 0);
  EXPECT_TRUE(outcome.error->userInfo().empty());
}

TEST_F(UserData, MalformedXMLIsTheParsersErrorReportedOnce) {
  const std::string whole = soapAnswer(resultBlock("0", "words", "String", "x"));
  for (std::size_t length = 0; length + 1 < whole.size(); length += 7) {
    const Report outcome = answered(whole.substr(0, length));
    ASSERT_NE(outcome.error, nullptr) << length;
    EXPECT_EQ(outcome.error->domain(), NSXMLParserErrorDomain);
  }
  // The task is removed after the report has returned, so the test waits for it.
  EXPECT_TRUE(eventually([&] { return api()->parsingTasks()->empty(); }));
}

TEST_F(UserData, TheStatusIsNotExamined) {
  EXPECT_NE(answered(soapAnswer(resultBlock("0", "words", "String", "x")), 500).result, nullptr);
}

TEST_F(UserData, ATaskIsListedUntilItsReportHasReturned) {
  answerWith(soapAnswer(resultBlock("0", "words", "String", "x")));
  std::optional<std::vector<Dictionary>> during;
  std::optional<Dictionary> found;
  const auto client = api();
  outcomeOf([&](auto handler) {
    client->getUserData_completionHandler(
        Dictionary(), [&, handler](const auto& result, const auto& error) {
          during = client->parsingTasks();
          const auto parser =
              during->front()[kGetUserDataTaskResponseDataParser].template objectOf<XMLParser>();
          found = client->taskDictionaryWithParser(parser.get());
          handler(result, error);
        });
  });
  ASSERT_TRUE(during);
  ASSERT_EQ(during->size(), 1U);
  const Dictionary& task = during->front();
  EXPECT_NE(task["CompletionHandler"].object(), nullptr);
  const Dictionary* elements = task["ResponseDataDictionary"].dictionary();
  ASSERT_NE(elements, nullptr);
  EXPECT_EQ((*elements)["ResultCode"], Value("0"));
  EXPECT_EQ((*elements)["ReturnData"], Value("x"));
  EXPECT_EQ(task.find("ParsingError"), nullptr);
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)["UserDataResponseDataParser"], task["UserDataResponseDataParser"]);
  EXPECT_TRUE(eventually([&] { return client->parsingTasks()->empty(); }));
}

TEST_F(UserData, AParserWithoutATaskChangesNothing) {
  const auto parser = XMLParser::initWithText(Data("<a>b</a>"));
  const auto client = api();
  parser->setDelegate(client);
  EXPECT_TRUE(parser->parse());
  EXPECT_TRUE(api()->parsingTasks()->empty());
  EXPECT_EQ(api()->taskDictionaryWithParser(parser.get()), std::nullopt);
  EXPECT_EQ(api()->taskDictionaryWithParser(nullptr), std::nullopt);
}

TEST_F(UserData, ManyFetchesOnOneObjectKeepTheirAnswersApart) {
  answerBy([](const Request& request) {
    const std::string ticket = between(request.body, R"({"Ticket":")", "\"");
    return Answer::reply(200, soapAnswer(resultBlock("0", ticket, "String", "data of " + ticket)));
  });
  const auto reports = std::make_shared<Mailbox<bool>>();
  constexpr int kCalls = 50;
  for (int call = 0; call < kCalls; ++call) {
    const std::string ticket = "T" + std::to_string(call);
    api()->getUserData_completionHandler(
        Dictionary{{"Ticket", ticket}},
        [reports, ticket](const auto& result, const auto& /*error*/) {
          reports->put(result && result->resultDescription() == ticket &&
                       result->returnData() == Value("data of " + ticket));
        });
  }
  for (int call = 0; call < kCalls; ++call) EXPECT_TRUE(reports->take());
  EXPECT_TRUE(eventually([&] { return api()->parsingTasks()->empty(); }));
}

TEST_F(UserData, AListThatWasTakenAwayDoesNotSilenceACall) {
  answerWith(soapAnswer(resultBlock("0", "words", "String", "x")));
  api()->setParsingTasks(std::nullopt);
  EXPECT_EQ(api()->parsingTasks(), std::nullopt);
  EXPECT_NE(fetch().result, nullptr);
}

TEST_F(UserData, AListThatIsReplacedDuringAParseSilencesNoCall) {
  // Each line is a report of its own, so that a parse takes long enough.
  std::string data;
  for (int line = 0; line < 50'000; ++line) data += "x\n";
  answerWith(soapAnswer(resultBlock("0", "words", "String", data)));
  const std::jthread host([this](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      api()->setParsingTasks(std::vector<Dictionary>());
      api()->setParsingTasks(std::nullopt);
    }
  });
  for (int call = 0; call < 5; ++call) {
    const Report outcome = fetch();
    EXPECT_TRUE(outcome.result && outcome.result->returnData() == Value(data));
  }
}

TEST_F(UserData, NoTaskIsFoundInAListThatWasTakenAway) {
  const auto parser = XMLParser::initWithText(Data("<a/>"));
  api()->setParsingTasks(std::nullopt);
  EXPECT_EQ(api()->taskDictionaryWithParser(parser.get()), std::nullopt);
  EXPECT_EQ(api()->taskDictionaryWithParser(nullptr), std::nullopt);
}

TEST_F(UserData, TasksThatAreSetReadBackAlike) {
  const auto parser = XMLParser::initWithText(Data("<a/>"));
  const auto error = Error::errorWithDomain_code_userInfo("d", 1, {});
  const Dictionary task{{"UserDataResponseDataParser", parser},
                        {"ResponseDataDictionary", Dictionary{{"a", "b"}}},
                        {"ParsingString", "so far"},
                        {"ParsingError", error}};
  api()->setParsingTasks(std::vector<Dictionary>{task});
  EXPECT_EQ(api()->parsingTasks(), std::vector<Dictionary>{task});
  EXPECT_EQ(api()->taskDictionaryWithParser(parser.get()), task);
}

}  // namespace
}  // namespace orx
