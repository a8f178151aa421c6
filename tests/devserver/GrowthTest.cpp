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
          repeated("{\"a\":\"", "b", "\"}"),
          repeated("{\"a\":\"", "\\n", "\"}"),
          repeated("{\"a\":0", ",\"a\":0", "}"),
          numbered("{\"a\":0", ",\"a@\":0", "}"),
          numbered("{\"a\":0", ",\"kkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkk@\":0", "}"),
          repeated("{\"a\":[0", ",[]", "]}"),
          numbered("{\"a\":{\"b\":0", ",\"b@\":0", "}}"),
          repeated("{\"a\":", "[", "}", "]"),
          repeated("{\"a\":1", "2", "}"),
          repeated("{", " ", "}"),
      },
      [](std::string_view text) { (void)Parameters::parse(text); });
}

TEST(Growth, OfTheTimeForEnvelopesIsLinear) {
  expectLinearTime(
      {
          repeated("<call>", "a", "</call>"),
          repeated("<call><ParaJson>", "\n", "</ParaJson></call>"),
          repeated("<call><ParaJson>", "&lt;", "</ParaJson></call>"),
          repeated("<call>", "<ParaJson>a</ParaJson>", "</call>"),
          numbered("<call", " a@='b'", "/>"),
          numbered("<call>", "<a@/>", "</call>"),
          repeated("", "<call>", "", "</call>"),
          repeated("<", "a:", "call/>"),
          numbered("<!DOCTYPE r [<!ATTLIST r", " a@ CDATA ''", ">]><call/>"),
          repeated("<call xmlns='", "a", "'/>"),
      },
      [](const std::string& text) { (void)parseCallEnvelope(text); });
}

TEST(Growth, OfTheTimeForWritingTextIsLinear) {
  expectLinearTime({repeated("", "a"), repeated("", "&"), repeated("", "\xEF\xBF\xBF"),
                    repeated("", "\xFF"), repeated("", "\"")},
                   [](const std::string& text) {
                     (void)jsonString(text);
                     (void)escapedForAttribute(text);
                   });
}

}  // namespace
}  // namespace orx::testing
