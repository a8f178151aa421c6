// SPDX-License-Identifier: MIT
#include "devserver/Envelope.h"
#include "devserver/JSONText.h"
#include "devserver/Parameters.h"
#include "support/Growth.h"

namespace orx::testing {
namespace {

using namespace orx::devserver;

TEST(Growth, OfTheTimeForParametersIsLinear) {
  expectLinearTime(
      {
          {"{\"a\":\"", "b", "\"}"},
          {"{\"a\":\"", "\\n", "\"}"},
          {"{\"a\":0", ",\"a\":0", "}"},
          {"{\"a\":0", ",\"a@\":0", "}"},
          {"{\"a\":0", ",\"kkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkk@\":0", "}"},
          {"{\"a\":[0", ",[]", "]}"},
          {"{\"a\":{\"b\":0", ",\"b@\":0", "}}"},
          {"{\"a\":", "[", "}", "0", "]"},
          {"{\"a\":1", "2", "}"},
          {"{", " ", "}"},
      },
      [](std::string_view text) { (void)Parameters::parse(text); });
}

TEST(Growth, OfTheTimeForEnvelopesIsLinear) {
  expectLinearTime(
      {
          {"<call>", "a", "</call>"},
          {"<call><ParaJson>", "\n", "</ParaJson></call>"},
          {"<call><ParaJson>", "&lt;", "</ParaJson></call>"},
          {"<call>", "<ParaJson>a</ParaJson>", "</call>"},
          {"<call", " a@='b'", "/>"},
          {"<call>", "<a@/>", "</call>"},
          {"", "<call>", "", "", "</call>"},
          {"<", "a:", "call/>"},
          {"<!DOCTYPE r [<!ATTLIST r", " a@ CDATA ''", ">]><call/>"},
          {"<call xmlns='", "a", "'/>"},
      },
      [](const std::string& text) { (void)parseCallEnvelope(text); });
}

TEST(Growth, OfTheTimeForWritingTextIsLinear) {
  expectLinearTime({{"", "a"}, {"", "&"}, {"", "\xEF\xBF\xBF"}, {"", "\xFF"}, {"", "\""}},
                   [](const std::string& text) {
                     (void)jsonString(text);
                     (void)escapedForAttribute(text);
                   });
}

}  // namespace
}  // namespace orx::testing
