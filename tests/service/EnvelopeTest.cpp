// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/formats/JSONSerialization.h"
#include "service/SOAPCall.h"

namespace orx::service {
namespace {

using platform::textWithJSONObject;

using namespace config;

const std::optional<std::string> kAppID = "my-app";
const std::optional<std::string> kAppKey = "my-key";

std::string between(const std::string& text, const std::string& from, const std::string& to) {
  const auto start = text.find(from) + from.size();
  return text.substr(start, text.find(to, start) - start);
}

std::string filled(std::string_view envelope, std::string_view apiID, std::string parameters,
                   const std::optional<std::string>& appID = kAppID,
                   const std::optional<std::string>& appKey = kAppKey) {
  return filledEnvelope({.envelope = envelope,
                         .path = kCustomerInfoPath,
                         .apiID = apiID,
                         .parameterText = std::move(parameters)},
                        {appID, appKey});
}

TEST(Envelope, FillsTheFourPlacesInOrder) {
  for (const std::string_view pattern :
       {lumcusinfo_asmx_pattern, soap12_request_pattern, soap11_header_request_pattern}) {
    const std::string text = filled(pattern, "w1", R"({"a":1})");
    EXPECT_EQ(between(text, "<AppID>", "</AppID>"), "my-app");
    EXPECT_EQ(between(text, "<AppKey>", "</AppKey>"), "my-key");
    EXPECT_EQ(between(text, "<ApiID>", "</ApiID>"), "w1");
    EXPECT_NE(text.find(R"(>{"a":1}</)"), std::string::npos);
    EXPECT_EQ(text.find("%@"), std::string::npos);
  }
}

TEST(Envelope, EscapesNothing) {
  const std::string text = filled(lumcusinfo_asmx_pattern, "<&>", R"({"a":"<&>"})", "i&d", "k<y");
  EXPECT_NE(text.find("<AppID>i&d</AppID><AppKey>k<y</AppKey><ApiID><&></ApiID>"
                      R"(<ParaJson>{"a":"<&>"}</ParaJson>)"),
            std::string::npos);
}

TEST(Envelope, LeavesAPlaceholderInsideAnArgumentAlone) {
  const std::string text = filled(lumcusinfo_asmx_pattern, "api", "para", "%@", "key");
  EXPECT_NE(text.find("<AppID>%@</AppID><AppKey>key</AppKey><ApiID>api</ApiID>"
                      "<ParaJson>para</ParaJson>"),
            std::string::npos);
}

TEST(Envelope, AbsentCredentialsAreEmptyText) {
  const std::string text = filled(lumcusinfo_asmx_pattern, "api", "{}", std::nullopt, std::nullopt);
  EXPECT_NE(text.find("<AppID></AppID><AppKey></AppKey>"), std::string::npos);
}

TEST(ParameterText, IsCompactJSONInTheOrderOfTheDictionary) {
  EXPECT_EQ(textWithJSONObject(Dictionary{{"z", "a/b"}, {"a", 1}, {"n", nullptr}, {"t", true}}),
            R"({"z":"a\/b","a":1,"n":null,"t":true})");
}

TEST(ParameterText, OfNoParametersIsAnEmptyObject) {
  EXPECT_EQ(textWithJSONObject(Dictionary()), "{}");
}

TEST(ParameterText, RefusesWhatJSONCannotHold) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_THROW(textWithJSONObject(Dictionary{{"a", nan}}), std::invalid_argument);
  EXPECT_THROW(textWithJSONObject(Dictionary{{"a", -infinity}}), std::invalid_argument);
  EXPECT_THROW(textWithJSONObject(Dictionary{{"a", Data("bytes")}}), std::invalid_argument);
  EXPECT_THROW(
      textWithJSONObject(Dictionary{{"a", Error::errorWithDomain_code_userInfo("d", 1, {})}}),
      std::invalid_argument);
  EXPECT_THROW(textWithJSONObject(Dictionary{{"a", "\xff"}}), std::invalid_argument);
}

}  // namespace
}  // namespace orx::service
