// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <gtest/gtest.h>

#include "allocations/FailingAllocation.h"
#include "service/Answer.h"
#include "service/XMLTasks.h"
#include "support/AccountServiceFixture.h"

// What is reported when memory runs out while a reply is read, at each allocation of the reading.
namespace orx::testing {

using namespace platform;
using namespace service;
namespace {

// What a completion handler was given; it must not need memory to take it.
struct Given {
  int reports = 0;
  std::shared_ptr<ORVAAccountAPIResult> result;
  std::shared_ptr<Error> error;

  ORVAAccountAPICompletionHandler handler() {
    return [this](const auto& aResult, const auto& anError) {
      ++reports;
      result = aResult;
      error = anError;
    };
  }

  // Either the result is whole or the error says what has happened.
  void expectWholeOrOutOfMemory(const Value& expected, std::string_view domain,
                                std::int64_t code) const {
    EXPECT_EQ(reports, 1);
    if (result != nullptr) {
      EXPECT_EQ(error, nullptr);
      EXPECT_EQ(result->returnData(), expected);
      return;
    }
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain(), domain);
    EXPECT_EQ(error->code(), code);
    EXPECT_NE(error->localizedDescription().find("memory has run out"), std::string::npos);
  }
};

TEST(ReplyWithoutMemory, IsAnErrorAndNeverAnEmptyRecord) {
  const std::string json = R"([{"login":"somebody with a long name","cus_id":77,"tags":["\n"]}])";
  const auto rule = [](const TransferOutcome& reply) -> Answer {
    const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
    return makeResult(std::string(block.resultDescription), parsedJSON(*block.returnData));
  };
  const TransferOutcome reply{
      .data = Data(soapAnswer(resultBlock("1", "a description of some length", "Json", json))),
      .statusCode = kStatusOK,
      .error = nullptr};
  const Value expected = parsedJSON(json);
  ASSERT_NE(expected.array(), nullptr);
  withEachAllocationFailing([&](auto begin, auto end) {
    Given given;
    const TransferHandler handler = answering(given.handler(), rule, nullptr);
    begin();
    handler(reply);
    end();
    given.expectWholeOrOutOfMemory(expected, NSURLErrorDomain, NSURLErrorUnknown);
  });
}

TEST(UserDataWithoutMemory, IsReportedOnceAndItsTaskGoes) {
  const std::string answer =
      soapAnswer(resultBlock("0", "a description of some length", "String", "text of some length"));
  withEachAllocationFailing([&](auto begin, auto end) {
    Given given;
    const auto api = ORVAAccountAPI::initWithOptions({});
    const auto parser = XMLParser::initWithData(Data(answer));
    parser->setDelegate(api);
    api->setParsingTasks(std::vector<Dictionary>{
        {{kGetUserDataTaskResponseDataParser, parser},
         {kGetUserDataTaskResponseDataDictionary, Dictionary()},
         {kGetUserDataTaskCompletionHandler,
          std::make_shared<CompletionHandlerObject>(required(given.handler()))}}});
    outOfMemoryError();
    begin();
    parser->parse();
    end();
    const bool isParsers = given.error && given.error->domain() == NSXMLParserErrorDomain;
    given.expectWholeOrOutOfMemory("text of some length",
                                   isParsers ? NSXMLParserErrorDomain : NSURLErrorDomain,
                                   isParsers ? 1 : NSURLErrorUnknown);
    EXPECT_TRUE(api->parsingTasks()->empty());
  });
}

constexpr XMLTaskKeys kTaskKeys{.parser = "parser",
                                .elements = "elements",
                                .parsingString = "string",
                                .parsingError = "error",
                                .completionHandler = "callback"};

TEST(TaskListWithoutMemory, HoldsATaskOrThrowsWithoutIt) {
  withEachAllocationFailing([](auto begin, auto end) {
    XMLTaskList list(kTaskKeys);
    const auto parser = XMLParser::initWithText(Data("<a/>"));
    XMLTask task;
    task.parser = parser;
    bool isHeld = true;
    begin();
    try {
      list.appendAnyway(std::move(task));
    } catch (const std::bad_alloc&) {
      isHeld = false;
    }
    end();
    EXPECT_EQ(list.find(*parser).has_value(), isHeld);
    EXPECT_EQ(list.dictionaryWithParser(parser.get()).has_value(), isHeld);
  });
}

TEST(TaskListWithoutMemory, TakesAnotherListOrStaysAsItWas) {
  withEachAllocationFailing([](auto begin, auto end) {
    XMLTaskList list(kTaskKeys);
    const Dictionary ofTheHost{{"of the host", "a text of some length"}};
    std::vector<Dictionary> replacement;
    std::vector<std::shared_ptr<XMLParser>> parsers;
    for (int i = 0; i < 3; ++i) {
      XMLTask task;
      task.parser = parsers.emplace_back(XMLParser::initWithText(Data("<a/>")));
      list.appendAnyway(std::move(task));
      replacement.push_back({{"parser", parsers.back()}, {"elements", ofTheHost}});
    }
    bool isTaken = true;
    begin();
    try {
      list.setDictionaries(replacement);
    } catch (const std::bad_alloc&) {
      isTaken = false;
    }
    end();
    for (const auto& parser : parsers) {
      EXPECT_EQ(list.find(*parser)->gathered.elements == ofTheHost, isTaken);
    }
  });
}

}  // namespace
}  // namespace orx::testing
