// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "platform/http/curl/ReplyParser.h"

namespace orx {

using namespace platform;
namespace {

using Excess = ReplyParser::Excess;
using Next = ReplyParser::Next;

constexpr std::size_t longest = 1000;

Next takeLines(ReplyParser& reply, std::initializer_list<std::string_view> lines,
               bool followsRedirects = false) {
  Next next = Next::head;
  for (const auto line : lines) next = reply.takeHeaderLine(line, followsRedirects);
  return next;
}

TEST(ReplyParser, KeepsTheStatusOfTheLastHead) {
  ReplyParser reply(longest, longest);
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 103 Early Hints\r\n", "Link: x\r\n", "\r\n"}), Next::head);
  EXPECT_FALSE(reply.headIsComplete());
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 404 No\r\n", "A: 1\r\n", "B: 2\r\n", "\r\n"}), Next::body);
  EXPECT_TRUE(reply.headIsComplete());
  EXPECT_EQ(reply.statusCode(), 404);
}

TEST(ReplyParser, ReadsNoStatusWhereThereIsNone) {
  for (const auto* line : {"HTTP/\r\n", "HTTP/1.1 \r\n", "HTTP/1.1 x\r\n"}) {
    ReplyParser reply(longest, longest);
    EXPECT_EQ(takeLines(reply, {line, "\r\n"}), Next::head);
    EXPECT_EQ(reply.statusCode(), 0);
    EXPECT_FALSE(reply.headIsComplete());
    EXPECT_FALSE(reply.isUnknown1xx());
  }
}

TEST(ReplyParser, KnowsWhetherTheBodyEndsWithTheConnection) {
  const auto ends = [](std::string_view status, std::string_view field) {
    ReplyParser reply(longest, longest);
    takeLines(reply, {status, field, "\r\n"});
    return reply.endsWithConnection();
  };
  EXPECT_TRUE(ends("HTTP/1.1 200 A\r\n", "A: 1\r\n"));
  EXPECT_TRUE(ends("HTTP/1.0 500 A\r\n", "Connection: close\r\n"));
  EXPECT_FALSE(ends("HTTP/1.1 200 A\r\n", "content-length: 0\r\n"));
  EXPECT_FALSE(ends("HTTP/1.1 200 A\r\n", "transfer-encoding: chunked\r\n"));
  EXPECT_FALSE(ends("HTTP/1.1 204 A\r\n", "A: 1\r\n"));
  EXPECT_FALSE(ends("HTTP/1.1 304 A\r\n", "A: 1\r\n"));
  ReplyParser reply(longest, longest);
  takeLines(reply, {"HTTP/1.1 200 A\r\n"});
  EXPECT_FALSE(reply.endsWithConnection());
}

TEST(ReplyParser, KnowsThatNoBodyIsAsLongAsLibcurlCannotCount) {
  const auto fallsShort = [](std::string_view status, std::string_view length,
                             std::string_view more = "A: 1\r\n") {
    ReplyParser reply(longest, longest);
    takeLines(reply, {status, length, more, "\r\n"});
    return reply.fallsShort();
  };
  for (const auto* length : {"9223372036854775808", "18446744073709551616",
                             "99999999999999999999999999999999999999999"}) {
    const auto line = std::string("Content-Length: ").append(length) + "\r\n";
    EXPECT_TRUE(fallsShort("HTTP/1.1 200 A\r\n", line)) << length;
    EXPECT_FALSE(fallsShort("HTTP/1.1 304 A\r\n", line)) << length;
    EXPECT_FALSE(fallsShort("HTTP/1.1 200 A\r\n", line, "Transfer-Encoding: chunked\r\n"));
  }
  EXPECT_FALSE(fallsShort("HTTP/1.1 200 A\r\n", "Content-Length: 9223372036854775807\r\n"));
}

TEST(ReplyParser, CountsTrailersAndTakesThemForNoHead) {
  ReplyParser reply(longest, longest);
  takeLines(reply, {"HTTP/1.1 200 A\r\n", "A: 1\r\n", "\r\n"});
  EXPECT_TRUE(reply.takeBody("body"));
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 500 A\r\n"}), Next::body);
  EXPECT_EQ(reply.statusCode(), 200);
  EXPECT_EQ(takeLines(reply, {std::string(longest, 'x')}), Next::nothing);
  EXPECT_EQ(reply.excess(), Excess::header);
  EXPECT_EQ(reply.takeBody().size(), 4U);
}

TEST(ReplyParser, CountsTheHeadersOfAllReplies) {
  ReplyParser reply(longest, longest);
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 302 A\r\n", std::string(600, 'x')}), Next::head);
  reply.reset();
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 200 A\r\n", std::string(600, 'x')}), Next::nothing);
  reply.reset();
  EXPECT_EQ(reply.excess(), Excess::header);
}

TEST(ReplyParser, GoesByWhetherRedirectsAreFollowed) {
  for (const bool follows : {true, false}) {
    ReplyParser reply(longest, longest);
    EXPECT_EQ(takeLines(reply, {"HTTP/1.1 307 A\r\n", "location: /x\r\n", "\r\n"}, follows),
              follows ? Next::redirectedReply : Next::body);
    EXPECT_EQ(reply.headIsComplete(), !follows);
  }
}

TEST(ReplyParser, TakesForARedirectOnlyWhatNamesAPlace) {
  for (const auto* field : {"Location:\r\n", "Location: \r\n", "Locations: /x\r\n", "L: /x\r\n"}) {
    ReplyParser nowhere(longest, longest);
    EXPECT_EQ(takeLines(nowhere, {"HTTP/1.1 307 A\r\n", field, "\r\n"}, true), Next::body) << field;
  }
  for (const auto* status : {"HTTP/1.1 299 A\r\n", "HTTP/1.1 400 A\r\n"}) {
    ReplyParser final(longest, longest);
    EXPECT_EQ(takeLines(final, {status, "Location: /x\r\n", "\r\n"}, true), Next::body) << status;
  }
}

TEST(ReplyParser, TakesAnUnknown1xxThatAnnouncesABodyForTheLast) {
  ReplyParser reply(longest, longest);
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 199 A\r\n", "\r\n"}), Next::head);
  EXPECT_TRUE(reply.isUnknown1xx());
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 199 A\r\n", "Content-Length: 3\r\n", "\r\n"}),
            Next::nothing);
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 200 A\r\n", "\r\n"}), Next::body);
  EXPECT_FALSE(reply.isUnknown1xx());
}

TEST(ReplyParser, TakesTheBodyUpToTheCeiling) {
  ReplyParser reply(longest, longest);
  EXPECT_TRUE(reply.takeBody(std::string(longest - 1, 'x')));
  EXPECT_EQ(reply.excess(), Excess::none);
  EXPECT_FALSE(reply.takeBody("yz"));
  EXPECT_EQ(reply.excess(), Excess::body);
  const auto body = reply.takeBody();
  EXPECT_EQ(body.size(), longest);
  EXPECT_EQ(body.back(), 'y');
}

TEST(ReplyParser, SetsRoomAsideForAnAnnouncedBodyButDoesNotBelieveAHugeOne) {
  constexpr std::size_t mebibyte = std::size_t{1} << 20U;
  ReplyParser usual(longest, mebibyte);
  takeLines(usual, {"HTTP/1.1 200 A\r\n", "content-length:  5000\r\n", "\r\n"});
  EXPECT_TRUE(usual.takeBody("x"));
  EXPECT_EQ(usual.takeBody().capacity(), 5000U);
  ReplyParser huge(longest, std::size_t{1} << 60U);
  takeLines(huge, {"HTTP/1.1 200 A\r\n", "Content-Length: 1152921504606846976\r\n", "\r\n"});
  EXPECT_TRUE(huge.takeBody("x"));
  EXPECT_LE(huge.takeBody().capacity(), mebibyte);
}

}  // namespace
}  // namespace orx
