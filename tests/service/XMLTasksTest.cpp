// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "service/XMLTasks.h"

namespace orx::service {
namespace {

// A list with one task under way, whose parser the tests report for.
class TaskList : public ::testing::Test {
 protected:
  TaskList() {
    list.setDictionaries(std::vector<Dictionary>());
    XMLTask task;
    task.parser = parser;
    task.completionHandler = callback;
    list.append(std::move(task));
    list.foundCharacters(*parser, "first");
    list.didEndElement(*parser, "a");
  }
  void expectItEndsWith(const Dictionary& elements) {
    list.foundCharacters(*parser, "second");
    list.didEndElement(*parser, "b");
    const auto task = list.find(*parser);
    ASSERT_TRUE(task);
    EXPECT_EQ(task->gathered.elements, elements);
    EXPECT_EQ(task->completionHandler, callback);
    list.remove(*parser);
    EXPECT_FALSE(list.find(*parser));
  }

  XMLTaskList list{{.parser = "parser",
                    .elements = "elements",
                    .parsingString = "string",
                    .parsingError = "error",
                    .completionHandler = "callback"}};
  std::shared_ptr<XMLParser> parser = XMLParser::initWithText(Data("<a/>"));
  std::shared_ptr<CompletionHandlerObject> callback =
      std::make_shared<CompletionHandlerObject>(required([](const auto&, const auto&) {}));
};

TEST_F(TaskList, KeepsATaskUnderWayThatAnotherListDoesNotHold) {
  list.setDictionaries(std::vector<Dictionary>());
  EXPECT_TRUE(list.dictionaries()->empty());
  EXPECT_FALSE(list.dictionaryWithParser(parser.get()));
  expectItEndsWith(Dictionary{{"a", "first"}, {"b", "second"}});
}

TEST_F(TaskList, KeepsATaskUnderWayWhenTheListIsTakenAway) {
  list.setDictionaries(std::nullopt);
  EXPECT_FALSE(list.dictionaries());
  expectItEndsWith(Dictionary{{"a", "first"}, {"b", "second"}});
}

TEST_F(TaskList, GoesOnWithWhatTheHostMakesOfATaskUnderWayAndKeepsItsCallback) {
  list.setDictionaries(std::vector{
      Dictionary{{"parser", parser}, {"elements", Dictionary{{"of the host", "text"}}}}});
  expectItEndsWith(Dictionary{{"of the host", "text"}, {"b", "second"}});
  EXPECT_TRUE(list.dictionaries()->empty());
}

TEST_F(TaskList, TakesATaskUnderWayBackIntoALaterList) {
  const auto all = list.dictionaries();
  list.setDictionaries(std::nullopt);
  list.setDictionaries(all);
  EXPECT_EQ(list.dictionaries(), all);
  expectItEndsWith(Dictionary{{"a", "first"}, {"b", "second"}});
  EXPECT_TRUE(list.dictionaries()->empty());
}

}  // namespace
}  // namespace orx::service
