// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>
#include <string>

#include "oracles/ResultBlockOracle.h"
#include "service/ResultBlock.h"
#include "support/Growth.h"

namespace orx {
namespace {

using namespace service;
using testing::descriptionOf;
using testing::matchResultBlockByPattern;

constexpr std::array kPatterns{ResultBlockPattern::Lenient, ResultBlockPattern::Strict};

std::string block(const std::string& code, const std::string& description,
                  const std::string& tail) {
  return "<ResultCode>" + code + "</ResultCode><ResultDesc>" + description +
         "</ResultDesc><ReturnDataType>Json</ReturnDataType>" + tail;
}

const std::string kData = "<ReturnData>[]</ReturnData>";
const std::string kEmptyElement = "<ReturnData />";

std::string lenient(const std::string& answer) {
  return descriptionOf(matchResultBlock(answer, ResultBlockPattern::Lenient));
}

std::string strict(const std::string& answer) {
  return descriptionOf(matchResultBlock(answer, ResultBlockPattern::Strict));
}

TEST(ResultBlock, IsFoundInsideAnAnswer) {
  const std::string answer = "<?xml version=\"1.0\"?>\n<s:Body><r>" +
                             block("1", "OK &amp; \u00E9", "<ReturnData>[{\"a\":1}]</ReturnData>") +
                             "</r></s:Body>\n";
  const std::string expected =
      "code '1', description 'OK &amp; \u00E9', type 'Json', data '[{\"a\":1}]'";
  EXPECT_EQ(lenient(answer), expected);
  EXPECT_EQ(strict(answer), expected);
}

TEST(ResultBlock, EndsInTheEmptyElementOnlyWhenLenient) {
  EXPECT_EQ(lenient(block("1", "OK", kEmptyElement)),
            "code '1', description 'OK', type 'Json', data absent");
  EXPECT_EQ(strict(block("1", "OK", kEmptyElement)), "no match");
  EXPECT_EQ(strict(block("1", "OK", "<ReturnData></ReturnData>")),
            "code '1', description 'OK', type 'Json', data ''");
  EXPECT_EQ(lenient(block("1", "OK", "<ReturnData/>")), "no match");
}

TEST(ResultBlock, IgnoresTheCaseOfNamesAlsoOfTheLongS) {
  EXPECT_EQ(lenient("<RESULTCODE>A</resultcode><rESULTdESC>B</ResultDesc><returndatatype>C"
                    "</RETURNDATATYPE><RETURNDATA />"),
            "code 'A', description 'B', type 'C', data absent");
  EXPECT_EQ(lenient("<Re\u017FultCode>A</Re\u017FultCode><Re\u017FultDe\u017Fc>B</ResultDesc>"
                    "<ReturnDataType>C</ReturnDataType><ReturnData>D</ReturnData>"),
            "code 'A', description 'B', type 'C', data 'D'");
  // Characters beside U+017F, and others that look like an s, do not match one.
  EXPECT_EQ(lenient("<Re\u017EultCode>" + block("", "", kData).substr(12)), "no match");
  EXPECT_EQ(lenient("<Re\u00DFultCode>" + block("", "", kData).substr(12)), "no match");
}

TEST(ResultBlock, StandsOnOneLine) {
  for (const char* terminator : {"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029"}) {
    EXPECT_EQ(lenient(block("1", std::string("a") + terminator + "b", kData)), "no match");
    EXPECT_EQ(lenient(block("1", "OK", std::string(terminator) + kData)), "no match");
    EXPECT_EQ(lenient(std::string("<ResultCode>0") + terminator + block("1", "b", kData)),
              "code '1', description 'b', type 'Json', data '[]'");
  }
  // The characters before and after each terminator do not end a line.
  for (const char* character : {"\t", "\x0E", "\x1C", "\u0084", "\u0086", "\u2027", "\u202A"}) {
    EXPECT_NE(lenient(block("1", character, kData)), "no match");
  }
  EXPECT_EQ(lenient(block("1", "OK", " " + kData)), "no match");
}

TEST(ResultBlock, CapturesGreedily) {
  const std::string no = block("0", "no", kData);
  const std::string yes = block("1", "yes", kData);
  EXPECT_EQ(strict(no + yes), "code '" + no.substr(12) +
                                  "<ResultCode>1', description 'yes', type "
                                  "'Json', data '[]'");
  EXPECT_EQ(strict(no + "\n" + yes), "code '0', description 'no', type 'Json', data '[]'");
  EXPECT_EQ(strict(no + "x</ReturnData>y"),
            "code '0', description 'no', type 'Json', data '[]</ReturnData>x'");
  EXPECT_EQ(
      lenient(no + block("1", "yes", kEmptyElement)),
      "code '" + no.substr(12) + "<ResultCode>1', description 'yes', type 'Json', data absent");
  EXPECT_EQ(strict(no + block("1", "yes", kEmptyElement)),
            "code '0', description 'no', type 'Json', data '[]'");
  EXPECT_EQ(lenient(yes + "</ReturnDataType><ReturnData>"),
            "code '1', description 'yes', type 'Json', data '[]'");
}

TEST(ResultBlock, UsesNoByteTwice) {
  EXPECT_EQ(lenient("<ResultCode></ResultCode><ResultDesc><ReturnDataType></ReturnDataType>"
                    "<ReturnData />"),
            "no match");
  EXPECT_EQ(lenient("<ResultCode></ResultDesc><ReturnDataType></ResultCode><ResultDesc>"
                    "</ReturnDataType><ReturnData />"),
            "no match");
  EXPECT_EQ(strict("</ReturnData>" + block("1", "OK", "<ReturnData>")), "no match");
}

TEST(ResultBlock, IsAbsentFromWhatIsNotUTF8) {
  EXPECT_EQ(lenient(block("1", "OK", kData) + "\n\xFF"), "no match");
  EXPECT_EQ(lenient(block("1", "\xED\xA0\x80", kData)), "no match");
  EXPECT_EQ(lenient(""), "no match");
}

TEST(ResultBlock, NeedsTheAnswerToItsLastByte) {
  const std::string whole = block("1", "\u00E9\u017F", "<ReturnData>\u20AC</ReturnData>");
  ASSERT_NE(strict(whole), "no match");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(lenient(whole.substr(0, size)), "no match") << size;
  }
}

// Texts that come close to the patterns: their literals whole, cut, doubled, in other cases and
// with a long s, between terminators and other text.
class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) {}

  std::string answer() {
    std::string text;
    if (oneIn(2)) {
      const std::size_t pieces = below(14);
      for (std::size_t piece = 0; piece < pieces; ++piece) text += anyPiece();
    } else {
      // The literals in their order, so that most texts match.
      for (const char* literal : {kLiterals[0], kLiterals[1], kLiterals[2]}) {
        text += noise() + changed(literal) + noise();
      }
      text += changed(kLiterals[3 + below(2)]) + noise();
      if (oneIn(2)) text += changed(kLiterals[5]) + noise();
    }
    return text;
  }

 private:
  static constexpr std::array kLiterals{"<ResultCode>",
                                        "</ResultCode><ResultDesc>",
                                        "</ResultDesc><ReturnDataType>",
                                        "</ReturnDataType><ReturnData>",
                                        "</ReturnDataType><ReturnData />",
                                        "</ReturnData>"};
  static constexpr std::array kOthers{"\n",     "\r",     "\r\n",   "\v",     "\f",   "\u0085",
                                      "\u2028", "\u2029", "\u017F", "\u00E9", "<",    "</",
                                      ">",      " ",      "1",      "text",   "\xC5", "\U0001F600"};

  std::size_t below(std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
  }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  std::string anyPiece() {
    return oneIn(6) ? kOthers[below(kOthers.size())] : changed(kLiterals[below(kLiterals.size())]);
  }

  std::string noise() { return oneIn(4) ? anyPiece() : ""; }

  std::string changed(std::string literal) {
    if (oneIn(10)) literal.resize(below(literal.size()));
    if (oneIn(10)) literal.erase(0, below(literal.size() + 1));
    std::string text;
    const bool changesCase = oneIn(3);
    for (const char character : literal) {
      if (character == 's' && oneIn(8)) {
        text += "\u017F";
      } else if (changesCase && oneIn(2)) {
        text += static_cast<char>(std::isupper(character) != 0 ? std::tolower(character)
                                                               : std::toupper(character));
      } else {
        text += character;
      }
    }
    return text;
  }

  std::mt19937_64 random_;
};

TEST(ResultBlock, GivesWhatThePatternsGive) {
  const char* chosen = std::getenv("ORX_TEST_SEED");
  const std::uint64_t seed = chosen != nullptr ? std::strtoull(chosen, nullptr, 10) : 20240229;
  constexpr int cases = 200'000;
  Generator generator(seed);
  int matches = 0;
  for (int number = 0; number < cases; ++number) {
    const std::string answer = generator.answer();
    for (const ResultBlockPattern pattern : kPatterns) {
      const auto own = matchResultBlock(answer, pattern);
      const auto expected = matchResultBlockByPattern(answer, pattern);
      ASSERT_EQ(descriptionOf(own), descriptionOf(expected))
          << "ORX_TEST_SEED=" << seed << ", case " << number << ": "
          << ::testing::PrintToString(answer);
      matches += own ? 1 : 0;
    }
  }
  // If hardly any text matched, or all did, the comparison would test little.
  EXPECT_GT(matches, cases / 10);
  EXPECT_LT(matches, 2 * cases * 9 / 10);
}

// These sanitizers check all of the text at each memrchr, and the time would be theirs.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST(ResultBlock, TakesTimeInProportionToAHostileAnswer) {
  const std::string head = "<ResultCode></ResultCode><ResultDesc></ResultDesc><ReturnDataType>";
  std::vector<testing::Construct> constructs;
  for (const std::string& piece :
       {std::string("<ResultCode>"), std::string("<ResultCode>\n"), std::string("</ReturnData>"),
        std::string("<"), std::string("</ReturnDataType><ReturnData>"),
        std::string("</ReturnDataType><ReturnData /"), std::string("</ResultCode><ResultDesc>"),
        std::string("</ResultDesc><ReturnDataType>"), std::string("<Re\u017FultCod"),
        std::string("\u2028"), std::string("\xE2"), head + "</ReturnDataType><ReturnData>",
        head + "\u2028"}) {
    for (const std::string& start : {std::string(), head}) {
      constructs.push_back({start, piece});
    }
  }
  testing::expectLinearTime(constructs, [](std::string_view answer) {
    for (const ResultBlockPattern pattern : kPatterns) matchResultBlock(answer, pattern);
  });
}
#endif

}  // namespace
}  // namespace orx
