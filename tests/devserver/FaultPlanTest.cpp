// SPDX-License-Identifier: MIT
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "devserver/FaultPlan.h"
#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

using orx::devserver::FaultPlan;

class Faults : public ::testing::Test {
 protected:
  Faults() { service_.start(); }
  ServiceClient client() const { return ServiceClient(service_); }
  Reply start() const { return client().get(globalURL("/")); }
  void plan(const std::string& what) { service_.setFaults(R"([{"do":)" + what + "}]"); }

  DevelopmentService service_;
};

TEST_F(Faults, ReplaceStatusHeadersAndBody) {
  plan(R"({"status":503,"headers":{"Retry-After":"5"},"body":"come back"})");
  const auto reply = start();
  EXPECT_EQ(reply.transport, CURLE_OK);
  EXPECT_EQ(reply.status, 503);
  EXPECT_EQ(reply.body, "come back");
  EXPECT_EQ(reply.headers.at("retry-after"), "5");
}

TEST_F(Faults, CloseBeforeTheFirstByte) {
  plan(R"("close")");
  EXPECT_EQ(start().transport, CURLE_GOT_NOTHING);
}

TEST_F(Faults, ResetBeforeTheFirstByte) {
  plan(R"({"close":true,"reset":true})");
  EXPECT_EQ(start().transport, CURLE_RECV_ERROR);
}

TEST_F(Faults, CutTheBodyAfterSoManyBytes) {
  plan(R"({"truncate":15})");
  const auto reply = start();
  EXPECT_NE(reply.transport, CURLE_OK);
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "<!DOCTYPE html>");
}

TEST_F(Faults, CutBehindTheEndOfTheBodyEndsTheConnectionOnly) {
  plan(R"({"truncate":1000000})");
  const auto reply = start();
  EXPECT_EQ(reply.transport, CURLE_OK);
  EXPECT_NE(reply.body.find("</html>"), std::string::npos);
}

TEST_F(Faults, CutAnAnswerWithoutSayingWhetherTheDeedWasDone) {
  service_.setFaults(R"([{"match":{"apiId":"w000000012","nth":1},"do":"close"}])");
  const std::string parameters = R"({"login":"a@orva.example","passwd":"correct horse"})";
  EXPECT_EQ(client().call("w000000012", parameters).transport, CURLE_GOT_NOTHING);
  EXPECT_EQ(client().call("w000000012", parameters).element("ResultDesc"),
            "This account already registered");
  EXPECT_EQ(service_.requestCount("w000000012"), 2U);
}

TEST_F(Faults, AnswerLateOrInTwoParts) {
  for (const char* what : {R"({"delay":20})", R"({"stall":20})"}) {
    plan(what);
    const auto reply = start();
    EXPECT_EQ(reply.transport, CURLE_OK) << what;
    EXPECT_NE(reply.body.find("</html>"), std::string::npos) << what;
  }
}

TEST_F(Faults, SpoilTheXML) {
  plan(R"("malformed-xml")");
  const auto reply = client().call("w000000011", "{}");
  EXPECT_EQ(reply.element("ResultDesc"), "password error");
  EXPECT_EQ(reply.body.find("</soap:Envelope>"), std::string::npos);
}

TEST_F(Faults, LeaveTheResultBlockOut) {
  plan(R"("no-result-block")");
  const auto reply = client().call("w000000011", "{}");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body.find("ResultCode"), std::string::npos);
  EXPECT_NE(reply.body.find("</soap:Envelope>"), std::string::npos);
}

TEST_F(Faults, SendAsMuchAsIsAskedFor) {
  plan(R"({"huge":3000000})");
  EXPECT_EQ(start().body.size(), 3000000U);
}

TEST_F(Faults, StrikeOnlyWhatMatches) {
  service_.setFaults(R"([{"match":{"path":"/","nth":2},"do":{"status":500}},)"
                     R"({"match":{"host":")" ORX_TEST_CHINA_HOST R"("},"do":{"status":501}}])");
  EXPECT_EQ(start().status, 200);
  EXPECT_EQ(start().status, 500);
  EXPECT_EQ(start().status, 200);
  EXPECT_EQ(client().get(chinaURL("/")).status, 501);
  service_.setFaults("[]");
  EXPECT_EQ(client().get(chinaURL("/")).status, 200);
}

TEST_F(Faults, WithoutEndDoNotHoldUpTheOthersNorTheStop) {
  service_.setFaults(R"([{"match":{"path":"/stall"},"do":{"stall":"forever"}},)"
                     R"({"match":{"path":"/delay"},"do":{"delay":"forever"}}])");
  std::vector<std::thread> waiting;
  for (const char* path : {"/stall", "/delay"}) {
    waiting.emplace_back([this, path] {
      EXPECT_NE(client().get(globalURL(path)).transport, CURLE_OPERATION_TIMEDOUT);
    });
  }
  while (service_.requestCount("/stall") + service_.requestCount("/delay") < 2) {
    EXPECT_EQ(start().status, 200);
  }
  service_.stop();
  for (std::thread& thread : waiting) thread.join();
}

TEST(FaultPlan, CountsForEveryRuleAndLetsTheFirstDueOneDecide) {
  FaultPlan plan;
  plan.load(R"([{"match":{"nth":2},"do":{"status":500}},{"match":{"nth":2},"do":{"status":501}},)"
            R"({"match":{"nth":3},"do":{"status":502}}])");
  EXPECT_FALSE(plan.next("/", "", "h"));
  EXPECT_EQ(plan.next("/", "", "h")->status, 500);
  EXPECT_EQ(plan.next("/", "", "h")->status, 502);
  EXPECT_FALSE(plan.next("/", "", "h"));
}

class BadFaultPlan : public ::testing::TestWithParam<const char*> {};

TEST_P(BadFaultPlan, IsRefusedAsAWhole) {
  FaultPlan plan;
  const std::string text = std::string(R"([{"do":"close"},)") + GetParam() + "]";
  EXPECT_THROW(plan.load(text), std::invalid_argument);
  EXPECT_FALSE(plan.next("/", "", ""));
}

INSTANTIATE_TEST_SUITE_P(
    All, BadFaultPlan,
    ::testing::Values("7", "{}", R"({"do":"dance"})", R"({"do":{"status":7}})",
                      R"({"do":{"truncate":-1}})", R"({"do":{"close":1}})",
                      R"({"do":{"huge":18446744073709551615}})", R"({"do":{"huge":1073741825}})",
                      R"({"do":"status"})", R"({"do":{"stall":"never"}})",
                      R"({"do":"close","match":{"ApiID":"x"}})", R"({"do":"close","match":7})",
                      R"({"do":"close","when":"now"})", R"({"do":{"headers":{"A":1}}})", "{"));

}  // namespace
}  // namespace orx::testing
