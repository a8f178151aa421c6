// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "devserver/Envelope.h"
#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

using orx::devserver::parseCallEnvelope;
using orx::devserver::SOAPVersion;

TEST(CallEnvelope, IsReadFromAllThreeTemplates) {
  const Credentials who{"an app", "a key"};
  for (const auto& [text, version] :
       {std::pair{paraJsonEnvelope(who, "w1", "{}"), SOAPVersion::V11},
        std::pair{soap11HeaderEnvelope(who, "w1", "{}"), SOAPVersion::V11},
        std::pair{soap12Envelope(who, "w1", "{}"), SOAPVersion::V12}}) {
    const auto call = parseCallEnvelope(text);
    ASSERT_TRUE(call) << text;
    EXPECT_EQ(call->version, version);
    EXPECT_EQ(call->appID, "an app");
    EXPECT_EQ(call->appKey, "a key");
    EXPECT_EQ(call->apiID, "w1");
    EXPECT_EQ(call->parameters, "{}");
    EXPECT_EQ(call->serviceNamespace, "https://account.orva.example/");
  }
}

TEST(CallEnvelope, DecodesReferencesAndCDATA) {
  const auto call =
      parseCallEnvelope(paraJsonEnvelope({}, "w1", R"({"a":"x &amp; y","b":"<![CDATA[<&>]]>"})"));
  ASSERT_TRUE(call);
  EXPECT_EQ(call->parameters, R"({"a":"x & y","b":"<&>"})");
}

TEST(CallEnvelope, IsAbsentWithoutACallOrWellFormedXML) {
  EXPECT_FALSE(parseCallEnvelope(""));
  EXPECT_FALSE(parseCallEnvelope("<a/>"));
  EXPECT_FALSE(parseCallEnvelope("no XML"));
  EXPECT_FALSE(parseCallEnvelope(paraJsonEnvelope({}, "w1", "a & b")));
  EXPECT_FALSE(parseCallEnvelope(paraJsonEnvelope({}, "w1", "\xFF\xFE")));
}

TEST(CallEnvelope, RefusesEntitiesAndDepth) {
  EXPECT_FALSE(
      parseCallEnvelope(R"(<!DOCTYPE call [<!ENTITY e "x">]><call><AppID>&e;</AppID></call>)"));
  std::string deep = "<call>";
  for (int i = 0; i < 1000; ++i) deep += "<a>";
  for (int i = 0; i < 1000; ++i) deep += "</a>";
  EXPECT_FALSE(parseCallEnvelope(deep + "</call>"));
}

TEST(CallEnvelope, IsAnsweredInANamespaceThatCannotBreakOut) {
  const auto call = parseCallEnvelope(R"(<call xmlns="a&quot;&lt;b"><ApiID>1</ApiID></call>)");
  ASSERT_TRUE(call);
  const auto answer = orx::devserver::soapAnswer(*call, {"1", "ok", "String", ""});
  EXPECT_NE(answer.body.find(R"(<callResponse xmlns="a&quot;&lt;b">)"), std::string::npos);
}

}  // namespace
}  // namespace orx::testing
