// SPDX-License-Identifier: MIT
// What becomes of statuses below 200, which HTTP keeps for replies that come before the reply.
#include <gtest/gtest.h>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;

constexpr const char* host = "one.example";

Answer interim(int status, std::string_view following = {}, End end = End::cut) {
  return {.bytes = "HTTP/1.1 " + std::to_string(status) + " Odd\r\nX-One: 1\r\n\r\n" +
                   std::string(following),
          .end = end};
}

Outcome answered(const Answer& answer) {
  const TLSTestServer server({host}, answer);
  return call(server.configuration(), getRequest("https://one.example/"));
}

void expectReply(const Outcome& outcome, long status) {
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.statusCode, status);
  EXPECT_EQ(outcome.text(), "");
}

TEST(InterimReply, ThatIsUnassignedIsTheReplyWhenTheConnectionEnds) {
  for (const End end : {End::close, End::cut, End::reset}) {
    for (const int status : {104, 150, 199})
      expectReply(answered(interim(status, "", end)), status);
  }
}

TEST(InterimReply, ThatIsUnassignedIsTheReplyWhenNoReplyFollows) {
  for (const End end : {End::keepAlive, End::cut}) {
    expectReply(answered(interim(199, "these bytes are a picture\r\n\r\n", end)), 199);
  }
}

TEST(InterimReply, ThatIsUnassignedAndAnnouncesABodyIsTheReplyAtOnce) {
  expectReply(answered(Answer::reply(199)), 199);
  expectReply(answered(Answer::reply(199, "body")), 199);
}

TEST(InterimReply, ThatIsUnassignedAnswersAPostOnce) {
  const TLSTestServer server({host}, interim(199));
  const Outcome outcome = call(server.configuration(), postRequest("https://one.example/", "b"));
  expectReply(outcome, 199);
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST(InterimReply, ThatIsUnassignedLeavesTheNextCallAlone) {
  const TLSTestServer server({host}, [](const auto& request) {
    return request.target == "/odd" ? Answer::reply(199, "body") : Answer::reply(200, "fine");
  });
  expectReply(call(server.configuration(), getRequest("https://one.example/odd")), 199);
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "fine");
}

TEST(InterimReply, IsForgottenWhenTheReplyComes) {
  const Outcome outcome = answered(interim(199, Answer::reply(404, "gone").bytes));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.statusCode, 404);
  EXPECT_EQ(outcome.text(), "gone");
}

TEST(InterimReply, DoesNotStandInForAReplyThatBreaksOff) {
  const Outcome outcome = answered(interim(199, "HTTP/1.1 200 OK\r\nContent-Len"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
  EXPECT_EQ(outcome.statusCode, 0);
}

TEST(InterimReply, OfAKnownKindIsNeverTheReply) {
  for (const int status : {100, 102, 103}) {
    const Outcome outcome = answered(interim(status));
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost) << status;
    EXPECT_EQ(outcome.statusCode, 0);
  }
  const Outcome switched = answered(interim(101));
  EXPECT_NE(switched.error, nullptr);
  EXPECT_EQ(switched.statusCode, 0);
}

TEST(InterimReply, BeforeAChunkedBodyLeavesItWholeHoweverTheBytesCome) {
  constexpr std::string_view chunked =
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
  for (const int status : {100, 103, 199}) {
    Answer answer = interim(status, chunked, End::keepAlive);
    for (const int pace : {0, 1}) {
      answer.pace = std::chrono::milliseconds(pace);
      const TLSTestServer server({host}, answer);
      for (int calls = 1; calls <= 2; ++calls) {
        const auto outcome = call(server.configuration(), getRequest("https://one.example/"));
        EXPECT_EQ(outcome.text(), "abcde") << status << " after " << pace << " ms each";
      }
      EXPECT_EQ(server.connectionCount(), 1U);
    }
  }
}

TEST(InterimReply, FollowedBySilenceIsATimeOut) {
  Answer answer = interim(199);
  answer.stalls = true;
  const TLSTestServer server({host}, answer);
  URLSessionConfiguration configuration = server.configuration();
  configuration.setTimeoutIntervalForRequest(std::chrono::milliseconds(200));
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(outcome.statusCode, 0);
}

TEST(InterimReply, WithoutEndStopsAtTheHeadersCeiling) {
  std::string heads;
  while (heads.size() < 100'000) heads += interim(199).bytes;
  const TLSTestServer server({host}, Answer{.bytes = heads, .end = End::cut});
  URLSessionConfiguration configuration = server.configuration();
  configuration.setMaximumHeaderSize(10'000);
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.statusCode, 0);
}

}  // namespace
}  // namespace orx::testing
