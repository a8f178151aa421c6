// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "platform/base/Limits.h"
#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using Request = TLSTestServer::Request;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::vector<std::string> hosts{"one.example", "two.example"};

std::string description(const Outcome& outcome) {
  return outcome.error ? outcome.error->localizedDescription() : "";
}

Answer redirect(int status, const std::string& location) {
  return Answer::reply(status, "moved", {{"Location", location}});
}

TEST(Redirect, FollowsTheRedirectsOfAGet) {
  TLSTestServer server(hosts, [](const Request& request) {
    if (request.target == "/a") return redirect(302, "/b");
    if (request.target == "/b") return redirect(308, "https://two.example/c");
    return Answer::reply(200, "there");
  });
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/a"));
  EXPECT_EQ(outcome.text(), "there");
  EXPECT_EQ(server.requests().back().serverName, "two.example");
}

TEST(Redirect, AsksAtTheSamePlaceAgainWhereverARedirectHasLed) {
  TLSTestServer server(hosts, [](const Request& request) {
    return request.target == "/there" ? Answer::reply(200, request.method)
                                      : redirect(303, "https://two.example/there");
  });
  for (int round = 0; round < 2; ++round) {
    call(server.configuration(), getRequest("https://one.example/a"));
    call(server.configuration(), postRequest("https://one.example/a", "b"));
  }
  std::vector<std::string> asked;
  for (const Request& request : server.requests()) {
    asked.push_back(request.method + ' ' + request.serverName + request.target);
  }
  const std::string there = "GET two.example/there";
  EXPECT_THAT(asked, ElementsAre("GET one.example/a", there, "POST one.example/a", there,
                                 "GET one.example/a", there, "POST one.example/a", there));
}

TEST(Redirect, TakesTheReplyOfThePlaceThatTheSecondLocationNames) {
  TLSTestServer server(hosts, [](const Request& request) {
    if (request.target == "/there") return Answer::reply(200, "there");
    return Answer::reply(302, "moved", {{"Location", ""}, {"Location", "/there"}});
  });
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.statusCode, 200);
  EXPECT_EQ(outcome.text(), "there");
}

TEST(Redirect, FollowsARedirectToAPlaceWithASpace) {
  TLSTestServer server(hosts, [](const Request& request) {
    return request.target == "/a%20b" ? Answer::reply(200, request.method)
                                      : redirect(302, "https://two.example/a b");
  });
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "GET");
  EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/", "b")).text(), "GET");
}

TEST(Redirect, RefusesARedirectToWhatIsNoURLAndGoesWhereTheNextRequestSays) {
  TLSTestServer server(hosts, [](const Request& request) {
    return request.target == "/fine" ? Answer::reply(200) : redirect(302, "https://two.example:x/");
  });
  for (auto& request :
       {postRequest("https://one.example/", "b"), getRequest("https://one.example/")}) {
    const Outcome outcome = call(server.configuration(), request);
    EXPECT_EQ(outcome.errorCode(), NSURLErrorBadURL) << description(outcome);
    EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/fine")).statusCode, 200);
  }
}

TEST(Redirect, GoesWhereEachRequestSaysWhateverWentBefore) {
  TLSTestServer server(hosts, [](const Request& request) {
    return Answer::reply(200, request.method + ' ' + request.serverName + request.target + ' ' +
                                  request.header("Content-Type").value_or("-"));
  });
  auto configuration = server.configuration();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(call(configuration, getRequest("https://one.example/?a")).text(),
              "GET one.example/?a -");
    EXPECT_EQ(call(configuration, postRequest("https://one.example/?b", "x")).text(),
              "POST one.example/?b text/plain");
    EXPECT_EQ(call(configuration, getRequest("https://two.example/?a")).text(),
              "GET two.example/?a -");
    configuration.setMaximumBodySize(configuration.maximumBodySize() - 1);
    EXPECT_EQ(call(configuration, getRequest("https://two.example/?a")).text(),
              "GET two.example/?a -");
  }
}

TEST(Redirect, GivesARedirectThatNamesNoPlaceAsTheReply) {
  const TLSTestServer server({"one.example"}, Answer::reply(302, "here", {{"Location", ""}}));
  const auto outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.statusCode, 302);
  EXPECT_EQ(outcome.text(), "here");
}

TEST(Redirect, FollowsTwentyRedirectsAndNoMore) {
  TLSTestServer server(hosts, [](const Request& request) {
    const int left = std::stoi(request.target.substr(1));
    if (left == 0) return Answer::reply(200, "there");
    return redirect(302, "/" + std::to_string(left - 1));
  });
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/20")).text(), "there");
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/21"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorHTTPTooManyRedirects);
  EXPECT_EQ(outcome.statusCode, 0);
  EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/20", "b")).text(),
            "there");
  EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/21", "b")).errorCode(),
            NSURLErrorHTTPTooManyRedirects);
}

TEST(Redirect, GoesOnAsAGetWithoutBodyWhenAPostIsMoved) {
  for (const int status : {301, 302, 303}) {
    TLSTestServer server(hosts, [status](const Request& request) {
      return request.target == "/a" ? redirect(status, "https://two.example/b?c")
                                    : Answer::reply(200, "there");
    });
    const Outcome outcome =
        call(server.configuration(), postRequest("https://one.example/a", "body"));
    EXPECT_EQ(outcome.text(), "there") << status;
    const Request last = server.requests().back();
    EXPECT_EQ(last.method + last.target, "GET/b?c");
    EXPECT_FALSE(last.header("Content-Type").has_value());
    EXPECT_FALSE(last.header("Content-Length").has_value());
    EXPECT_EQ(last.serverName, "two.example");
  }
}

TEST(Redirect, FollowsAGetAfterTheFiveStatusesThatSendElsewhere) {
  for (const int status : {301, 302, 303, 307, 308}) {
    TLSTestServer server(hosts, [status](const Request& request) {
      return request.target == "/a" ? redirect(status, "/b") : Answer::reply(200, "there");
    });
    const Outcome outcome = call(server.configuration(), getRequest("https://one.example/a"));
    EXPECT_EQ(outcome.text(), "there") << status;
  }
}

TEST(Redirect, GivesAnyOther3xxAsTheReplyOfAGetThoughItNamesAPlace) {
  for (const int status : {300, 304, 305, 306, 309, 399}) {
    TLSTestServer server(hosts, [status](const Request& request) {
      if (request.target == "/moved") return redirect(302, "/a");
      return request.target == "/a" ? redirect(status, "/b") : Answer::reply(200, "there");
    });
    for (const std::string target : {"/a", "/moved"}) {
      const Outcome outcome =
          call(server.configuration(), getRequest("https://one.example" + target));
      EXPECT_EQ(outcome.error, nullptr) << status;
      EXPECT_EQ(outcome.statusCode, status);
      EXPECT_EQ(server.requests().back().target, "/a");
      // The next request over the same handle follows again.
      EXPECT_EQ(
          call(server.configuration(), postRequest("https://one.example/moved", "b")).statusCode,
          status);
    }
  }
}

TEST(Redirect, GivesTheRedirectItselfWhereAPostWouldBeSentAgain) {
  for (const int status : {300, 304, 307, 308}) {
    TLSTestServer server(hosts, redirect(status, "/b"));
    const Outcome outcome =
        call(server.configuration(), postRequest("https://one.example/a", "body"));
    EXPECT_EQ(outcome.statusCode, status);
    EXPECT_EQ(outcome.error, nullptr);
    EXPECT_EQ(server.requests().size(), 1U);
  }
}

TEST(Redirect, FollowsNoRedirectAwayFromHTTPS) {
  TLSTestServer server(hosts, redirect(302, "http://one.example/b"));
  for (const auto& request :
       {getRequest("https://one.example/a"), postRequest("https://one.example/a", "b")}) {
    const Outcome outcome = call(server.configuration(), request);
    EXPECT_NE(outcome.errorCode(), 0);
    EXPECT_EQ(outcome.statusCode, 0);
  }
}

TEST(Redirect, ReportsTheErrorAloneWhenARedirectLeadsNowhere) {
  TLSTestServer server({"one.example"}, redirect(302, "https://gone.example/"));
  auto configuration = server.configuration();
  configuration.setConnectTo("gone.example", {"127.0.0.1", 1});
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotConnectToHost);
  EXPECT_EQ(outcome.statusCode, 0);
  EXPECT_THAT(description(outcome), HasSubstr("gone.example"));
}

}  // namespace
}  // namespace orx::testing
