// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Error.h>
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <string_view>

#include "oracles/JSONOracle.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform {
namespace {

using namespace std::string_view_literals;

// Equal values of equal kinds for the same texts, and refusals of the same texts at the same
// places.
void expectSameAsOracle(std::string_view text) {
  const auto expected = testing::readJSONByOracle(text);
  const auto reading = JSONObjectWithText(text);
  ASSERT_EQ(reading.has_value(), expected.value.has_value()) << text;
  if (!reading) {
    EXPECT_TRUE(reading.error()->localizedDescription().starts_with(
        "The text is not JSON: " + expected.place + ": "))
        << text << "\n"
        << reading.error()->localizedDescription() << "\n"
        << expected.place;
  } else {
    EXPECT_EQ(testing::exactDescription(*reading), testing::exactDescription(*expected.value))
        << text;
  }
}

// Random texts, the same in each run.
class Source {
 public:
  std::size_t below(std::size_t end) { return engine_() % end; }

  template <std::size_t size>
  std::string_view oneOf(const std::array<std::string_view, size>& pieces) {
    return pieces[below(size)];
  }

  std::string digits(std::size_t most) {
    std::string text(1 + below(most), '0');
    for (char& digit : text) digit = static_cast<char>('0' + below(10));
    return text;
  }

  std::string number() {
    std::string text = below(2) == 0 ? "" : "-";
    text += below(4) == 0 ? "0" : std::to_string(1 + below(9)) + digits(below(2) == 0 ? 3 : 22);
    if (below(2) == 0) text += "." + digits(below(2) == 0 ? 3 : 25);
    if (below(2) == 0) text += std::string(oneOf(kExponents)) + digits(below(2) == 0 ? 2 : 3);
    return text;
  }

  std::string string() {
    std::string text = "\"";
    for (std::size_t piece = below(5); piece > 0; --piece) text += oneOf(kTexts);
    return text + '"';
  }

  std::string value(std::size_t depth) {
    const std::size_t kind = below(depth > 0 ? 9 : 6);
    if (kind < 2) return number();
    if (kind < 4) return string();
    if (kind < 6) return std::string(oneOf(kWords));
    std::string text = kind == 6 ? "[" : "{";
    for (std::size_t left = below(4); left > 0; --left) {
      if (kind != 6) text += string() + blank() + ":";
      text += blank() + value(depth - 1) + blank() + (left > 1 ? "," : "");
    }
    return text + (kind == 6 ? "]" : "}");
  }

  // A text with up to three bytes of it changed, taken out or put in.
  std::string damaged(std::string text) {
    for (std::size_t change = 1 + below(3); change > 0 && !text.empty(); --change) {
      const std::size_t place = below(text.size());
      const std::string_view piece = oneOf(kDamage);
      text.replace(place, below(3), piece);
    }
    return text;
  }

  std::string piecesOfJSON(std::size_t count) {
    std::string text;
    while (count-- > 0) text += below(2) == 0 ? oneOf(kDamage) : oneOf(kTexts);
    return text;
  }

 private:
  std::string blank() { return std::string(oneOf(kBlanks)); }

  static constexpr std::array kExponents{"e"sv, "E"sv, "e+"sv, "e-"sv};
  static constexpr std::array kWords{"true"sv, "false"sv, "null"sv};
  static constexpr std::array kBlanks{""sv, ""sv, " "sv, "\n"sv, "\r\t "sv};
  static constexpr std::array kTexts{"a"sv,
                                     "b"sv,
                                     "a plain text of some length"sv,
                                     "\\n"sv,
                                     "\\\""sv,
                                     "\\u0041"sv,
                                     "\u00E9"sv,
                                     "\u20AC"sv,
                                     "\U0001F600"sv,
                                     "\\/"sv,
                                     "\\ud83d\\ude00"sv,
                                     "\x7F"sv};
  static constexpr std::array kDamage{""sv,         "["sv,        "]"sv,        "{"sv,
                                      "}"sv,        ","sv,        ":"sv,        "\""sv,
                                      "\\"sv,       "0"sv,        "1"sv,        "-"sv,
                                      "+"sv,        "."sv,        "e"sv,        "E9"sv,
                                      "tru"sv,      "null"sv,     " "sv,        "\n"sv,
                                      "\x01"sv,     "\x1F"sv,     "/"sv,        "\\u12"sv,
                                      "\\ud800"sv,  "\\udc00"sv,  "\\uDBFF"sv,  "\x80"sv,
                                      "\xC0"sv,     "\xC3"sv,     "\xE2\x82"sv, "\xED\xA0\x80"sv,
                                      "\xF0\x9F"sv, "\xF4\x90"sv, "\xFF"sv,     "\"k\""sv,
                                      "1e999"sv,    "\\x"sv,      "//"sv,       "true"sv,
                                      "\u2028"sv,   "'"sv};

  std::mt19937 engine_;
};

constexpr int kRounds = 20'000;

TEST(JSONReaderOracle, AgreesOnValidTexts) {
  Source source;
  for (int round = 0; round < kRounds; ++round) expectSameAsOracle(source.value(4));
}

TEST(JSONReaderOracle, AgreesOnDamagedTexts) {
  Source source;
  for (int round = 0; round < kRounds; ++round) {
    expectSameAsOracle(source.damaged(source.value(3)) + " ");
  }
}

TEST(JSONReaderOracle, AgreesOnTextsCutAnywhere) {
  Source source;
  for (int round = 0; round < kRounds / 20; ++round) {
    const std::string whole = source.value(3);
    for (std::size_t size = 1; size < whole.size(); ++size) {
      expectSameAsOracle(whole.substr(0, size));
    }
  }
}

TEST(JSONReaderOracle, AgreesOnTextsThatAreHardlyJSON) {
  Source source;
  for (int round = 0; round < kRounds; ++round) {
    expectSameAsOracle("[" + source.piecesOfJSON(source.below(8)));
  }
}

TEST(JSONReaderOracle, AgreesOnEveryByteInEveryPlace) {
  constexpr std::array<std::string_view, 6> frames{"\"a_\"",     "_",  "[1_]",
                                                   "{\"a\"_:1}", "1_", "t_ue"};
  for (const std::string_view frame : frames) {
    const std::size_t place = frame.find('_');
    for (int byte = 1; byte < 256; ++byte) {
      std::string text(frame);
      text[place] = static_cast<char>(byte);
      expectSameAsOracle(text);
    }
  }
}

TEST(JSONReaderOracle, AgreesOnEveryTwoBytesThatMayBeginACharacter) {
  for (int lead = 0x80; lead < 0x100; ++lead) {
    for (int second = 0x70; second < 0x100; ++second) {
      for (const std::string_view rest :
           {""sv, "\x80"sv, "\x80\x80"sv, "\x80\x7F"sv, "\xBF\xC0"sv}) {
        std::string text = "\"";
        text += static_cast<char>(lead);
        text += static_cast<char>(second);
        expectSameAsOracle(text.append(rest) + "\"");
      }
    }
  }
}

TEST(JSONReaderOracle, AgreesOnNumbersAtTheEndsOfTheirRanges) {
  for (const std::string_view text :
       {"2.4703282292062327e-324"sv, "2.4703282292062328e-324"sv, "-2.4703282292062327e-324"sv,
        "1.7976931348623158e308"sv, "1.7976931348623159e308"sv, "0.0e999"sv, "-0e-999"sv,
        "0e99999999999999999999"sv, "1e-99999999999999999999"sv, "1e99999999999999999999"sv,
        "0.00001e-320"sv, "100000e-330"sv, "9223372036854775807"sv, "-9223372036854775809"sv,
        "18446744073709551616"sv, "-0"sv, "-0.0"sv, "123456789012345678901234567890e-400"sv}) {
    expectSameAsOracle(text);
  }
  const std::string zeros(400, '0');
  for (const std::string& text :
       {"0." + zeros + "1", "1" + zeros, "0." + zeros + "1e400", "1" + zeros + "e-400",
        "0." + zeros + "1e800", "-1" + zeros + "e-800", "0." + zeros, "-0." + zeros + "1e+2000"}) {
    expectSameAsOracle(text);
  }
}

}  // namespace
}  // namespace orx::platform
