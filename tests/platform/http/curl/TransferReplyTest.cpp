#include <gtest/gtest.h>

#include "platform/http/curl/TransferReply.h"

namespace orx {

using namespace platform;
namespace {

using Excess = TransferReply::Excess;
using Next = TransferReply::Next;

constexpr std::size_t longest = 1000;

Next takeLines(TransferReply& reply, std::initializer_list<std::string_view> lines,
               bool followsRedirects = false) {
  Next next = Next::head;
  for (const auto line : lines) next = reply.takeHeaderLine(line, longest, followsRedirects);
  return next;
}

TEST(TransferReply, KeepsTheLinesOfTheLastHead) {
  TransferReply reply;
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 103 Early Hints\r\n", "Link: x\r\n", "\r\n"}), Next::head);
  EXPECT_FALSE(reply.headIsComplete());
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 404 No\r\n", "A: 1\r\n", "B: 2\r\n", "\r\n"}), Next::body);
  EXPECT_TRUE(reply.headIsComplete());
  EXPECT_EQ(reply.statusCode(), 404);
  EXPECT_EQ(reply.takeHead(), "A: 1\r\nB: 2\r\n");
}

TEST(TransferReply, LeavesTrailersOutAndCountsThem) {
  TransferReply reply;
  takeLines(reply, {"HTTP/1.1 200 A\r\n", "A: 1\r\n", "\r\n"});
  EXPECT_TRUE(reply.takeBody("body", longest));
  EXPECT_EQ(reply.takeHeaderLine("Trailer: 1\r\n", longest, false), Next::body);
  EXPECT_EQ(reply.takeHeaderLine(std::string(longest, 'x'), longest, false), Next::nothing);
  EXPECT_EQ(reply.excess(), Excess::header);
  EXPECT_EQ(reply.takeHead(), "A: 1\r\n");
  EXPECT_EQ(reply.takeBody().size(), 4U);
}

TEST(TransferReply, CountsTheHeadersOfAllReplies) {
  TransferReply reply;
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 302 A\r\n", std::string(600, 'x')}), Next::head);
  reply.forget();
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 200 A\r\n", std::string(600, 'x')}), Next::nothing);
  reply.forget();
  EXPECT_EQ(reply.excess(), Excess::header);
}

TEST(TransferReply, GoesByWhetherRedirectsAreFollowed) {
  for (const bool follows : {true, false}) {
    TransferReply reply;
    EXPECT_EQ(takeLines(reply, {"HTTP/1.1 307 A\r\n", "location: /x\r\n", "\r\n"}, follows),
              follows ? Next::redirectedReply : Next::body);
    EXPECT_EQ(reply.headIsComplete(), !follows);
  }
  TransferReply nowhere;
  EXPECT_EQ(takeLines(nowhere, {"HTTP/1.1 307 A\r\n", "Location:\r\n", "\r\n"}, true), Next::body);
}

TEST(TransferReply, TakesAnUnassignedInterimReplyThatAnnouncesABodyForTheLast) {
  TransferReply reply;
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 199 A\r\n", "\r\n"}), Next::head);
  EXPECT_TRUE(reply.isUnassignedInterim());
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 199 A\r\n", "Content-Length: 3\r\n", "\r\n"}),
            Next::nothing);
  EXPECT_EQ(takeLines(reply, {"HTTP/1.1 200 A\r\n", "\r\n"}), Next::body);
  EXPECT_FALSE(reply.isUnassignedInterim());
}

TEST(TransferReply, TakesTheBodyUpToTheCeiling) {
  TransferReply reply;
  reply.expectBody(-1, longest);
  EXPECT_TRUE(reply.takeBody(std::string(longest - 1, 'x'), longest));
  EXPECT_EQ(reply.excess(), Excess::none);
  EXPECT_FALSE(reply.takeBody("yz", longest));
  EXPECT_EQ(reply.excess(), Excess::body);
  const auto body = reply.takeBody();
  EXPECT_EQ(body.size(), longest);
  EXPECT_EQ(body.back(), 'y');
}

TEST(TransferReply, DoesNotBelieveAnAnnouncedLengthBeforeTheBytesCome) {
  TransferReply reply;
  reply.expectBody(std::int64_t{1} << 60U, std::size_t{1} << 60U);
  EXPECT_TRUE(reply.takeBody("x", longest));
  EXPECT_LE(reply.takeBody().capacity(), std::size_t{1} << 20U);
}

}  // namespace
}  // namespace orx
