// SPDX-License-Identifier: MIT
// What each operation makes of answers that a broken or malicious server may send: one report, of
// the kind that the operation gives for an answer without what it looks for.
#include <ORXAccount/ORVAAccountConstants.h>

#include "support/AccountServiceFixture.h"
#include "support/HostileAnswers.h"
#include "support/Operations.h"

namespace orx {
namespace {

using namespace orx::testing;

constexpr std::size_t kMemoryBound = std::size_t{512} * 1024 * 1024;

class HostileAnswerTest : public AccountServiceFixture {
 protected:
  // Fails when the first call reports twice: its second report would come before the next call's.
  Report answered(const Operation& operation, const std::string& body) {
    answerWith(body);
    const auto reports = std::make_shared<Mailbox<Report>>();
    operation.start(*api(), Dictionary(), [reports](const auto& result, const auto& error) {
      reports->put({result, error});
    });
    Report outcome = reports->take(3 * patience);
    EXPECT_NE(outcome.result == nullptr, outcome.error == nullptr);
    answerWith("");
    outcomeOf([&](auto handler) { operation.start(*api(), Dictionary(), handler); });
    EXPECT_EQ(reports->count(), 0U);
    return outcome;
  }
};

class PatternOperation : public HostileAnswerTest,
                         public ::testing::WithParamInterface<Operation> {};

TEST_P(PatternOperation, FindsNoBlockInAHostileAnswer) {
  for (const HostileAnswer& hostile : hostileAnswers()) {
    const Report outcome = answered(GetParam(), hostile.text);
    ASSERT_NE(outcome.error, nullptr) << hostile.name;
    EXPECT_EQ(outcome.error->domain(), kORVAAccountErrorDomain);
    EXPECT_EQ(outcome.error->code(), 7);
    EXPECT_EQ(outcome.error->localizedDescription(), "");
  }
  EXPECT_LT(peakMemory(), kMemoryBound);
}

INSTANTIATE_TEST_SUITE_P(, PatternOperation,
                         ::testing::Values(kRegister, kLogin, kLoginOpenID, kCommon), nameOf);

class LenientOperation : public HostileAnswerTest,
                         public ::testing::WithParamInterface<Operation> {};

TEST_P(LenientOperation, MakesAnEmptyResultOfAHostileAnswer) {
  for (const HostileAnswer& hostile : hostileAnswers()) {
    const Report outcome = answered(GetParam(), hostile.text);
    ASSERT_NE(outcome.result, nullptr) << hostile.name;
    EXPECT_EQ(outcome.result->resultDescription(), "");
    EXPECT_EQ(outcome.result->returnData(), GetParam().name == "List" ? Value() : Value(""));
  }
  EXPECT_LT(peakMemory(), kMemoryBound);
}

INSTANTIATE_TEST_SUITE_P(, LenientOperation, ::testing::Values(kWebSSO, kList), nameOf);

class JSONOperation : public HostileAnswerTest, public ::testing::WithParamInterface<Operation> {};

TEST_P(JSONOperation, ReportsTheReadersErrorForAHostileAnswer) {
  for (const HostileAnswer& hostile : hostileAnswers()) {
    const Report outcome = answered(GetParam(), hostile.text);
    ASSERT_NE(outcome.error, nullptr) << hostile.name;
    EXPECT_EQ(outcome.error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(outcome.error->code(), NSPropertyListReadCorruptError);
    EXPECT_LT(outcome.error->localizedDescription().size(), 1000U);
  }
  EXPECT_LT(peakMemory(), kMemoryBound);
}

INSTANTIATE_TEST_SUITE_P(, JSONOperation, ::testing::Values(kRegisterV2, kLoginV2), nameOf);

class HostileUserData : public HostileAnswerTest {
 protected:
  Report answered(const std::string& body) { return HostileAnswerTest::answered(kUserData, body); }
};

TEST_F(HostileUserData, IsTheParsersErrorAndLeavesNoTask) {
  for (const HostileAnswer& hostile : hostileAnswers()) {
    const Report outcome = answered(hostile.text);
    ASSERT_NE(outcome.error, nullptr) << hostile.name;
    EXPECT_EQ(outcome.error->domain(), NSXMLParserErrorDomain) << hostile.name;
  }
  EXPECT_TRUE(eventually([&] { return api()->parsingTasks()->empty(); }));
  EXPECT_LT(peakMemory(), kMemoryBound);
}

TEST_F(HostileUserData, CutAtAnyByteIsTheParsersError) {
  const std::string whole = soapAnswer(resultBlock("0", "é", "XmlString", "&lt;r/&gt;"));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    answerWith(whole.substr(0, length));
    const Report outcome = outcomeOf(
        [&](auto handler) { api()->getUserData_completionHandler(Dictionary(), handler); });
    ASSERT_NE(outcome.error, nullptr) << length;
    EXPECT_EQ(outcome.error->domain(), NSXMLParserErrorDomain) << length;
  }
}

TEST_F(HostileUserData, ReadsAnAnswerWithManyAttributes) {
  const Report outcome =
      answered(elementWithAttributes(hostileCount, resultBlock("0", "words", "String", "data")));
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  EXPECT_EQ(outcome.result->returnData(), Value("data"));
}

TEST_F(HostileUserData, ReadsAnAnswerWithManyElements) {
  std::string elements;
  for (std::size_t number = 0; number < hostileCount; ++number) {
    const std::string name = "e" + std::to_string(number);
    elements.append("<").append(name).append(">t</").append(name).append(">");
  }
  const Report outcome =
      answered("<r>" + elements + resultBlock("0", "words", "String", "data") + "</r>");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->returnData(), Value("data"));
}

TEST_F(HostileUserData, ReadsACodeBeyondEveryWidthAsTheEndOfTheWidth) {
  const std::string nines(100'000, '9');
  Report outcome = answered(soapAnswer(resultBlock(nines, "words", "", "")));
  EXPECT_EQ(outcome.error->code(), std::numeric_limits<std::int64_t>::max());
  outcome = answered(soapAnswer(resultBlock("-" + nines, "words", "", "")));
  EXPECT_EQ(outcome.error->code(), std::numeric_limits<std::int64_t>::min());
}

TEST_F(HostileUserData, MayBeInUTF16WhenItSaysSo) {
  std::string wide = "\xff\xfe";
  for (const char letter : soapAnswer(resultBlock("0", "words", "String", "data"))) {
    wide += letter;
    wide += '\0';
  }
  const auto declaration = wide.find('8');
  ASSERT_NE(declaration, std::string::npos);
  wide.replace(declaration, 2, std::string_view("1\0006\0", 4));
  const Report outcome = answered(wide);
  ASSERT_NE(outcome.result, nullptr) << outcome.error->localizedDescription();
  EXPECT_EQ(outcome.result->returnData(), Value("data"));
}

TEST_F(HostileAnswerTest, NamesPlacesThatNoOperationGoesTo) {
  const ForbiddenPlaces places;
  for (const std::string& type : places.documentTypes()) {
    const std::string body = type + "<r>&e;" + resultBlock("1", "&e;", "String", "&e;") + "</r>";
    for (const Operation& operation : {kRegister, kLogin, kLoginOpenID, kCommon, kWebSSO, kUserData,
                                       kRegisterV2, kLoginV2, kList}) {
      const Report outcome = answered(operation, body);
      const std::string description = outcome.error
                                          ? outcome.error->localizedDescription()
                                          : outcome.result->resultDescription().value_or("");
      EXPECT_EQ(description.find(ForbiddenPlaces::secret), std::string::npos) << operation.name;
    }
  }
  EXPECT_FALSE(places.fileWasOpened());
  EXPECT_FALSE(places.portWasReached());
}

// ---- A good answer around hostile data ----

class HostileReturnData : public HostileAnswerTest,
                          public ::testing::WithParamInterface<Operation> {};

TEST_P(HostileReturnData, ThatIsNoJSONIsNull) {
  for (const HostileAnswer& hostile : hostileJSON()) {
    // One byte that is not UTF-8 anywhere in the answer, and no block is found.
    if (hostile.name == "InvalidUTF8InJSON") continue;
    const Report outcome =
        answered(GetParam(), soapAnswer(resultBlock("1", "words", "Json", hostile.text)));
    ASSERT_NE(outcome.result, nullptr) << hostile.name;
    EXPECT_EQ(outcome.result->resultDescription(), "words");
    EXPECT_TRUE(outcome.result->returnData().isNull()) << hostile.name;
  }
}

INSTANTIATE_TEST_SUITE_P(, HostileReturnData,
                         ::testing::Values(kLogin, kLoginOpenID, kCommon, kList), nameOf);

}  // namespace
}  // namespace orx
