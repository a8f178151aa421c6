// SPDX-License-Identifier: MIT
#include <vector>

#include "FuzzTarget.h"
#include "platform/http/curl/ReplyParser.h"

using orx::platform::ReplyParser;

// The first number chooses the ceilings and whether redirects are followed, then come heads and a
// body. However the body is cut into pieces, what is kept is its beginning, and no ceiling is
// passed.
ORX_FUZZ_TARGET(text) {
  FuzzInput input(text);
  const unsigned choice = input.number(32);
  const bool follows = (choice & 1U) != 0;
  const std::size_t longestHeader = 64U << (choice >> 1U & 3U);
  const std::size_t longestBody = 16U << (choice >> 3U & 3U);
  ReplyParser parser(longestHeader, longestBody);
  std::size_t headers = 0;
  while (!parser.headIsComplete()) {
    const auto before = input.rest();
    if (before.empty()) return;
    const auto size = std::min(input.line().size() + 1, before.size());
    headers += size;
    const auto next = parser.takeHeaderLine(before.substr(0, size), follows);
    const bool isTooLong = parser.excess() == ReplyParser::Excess::header;
    ORX_FUZZ_CHECK(isTooLong == (headers > longestHeader));
    if (next == ReplyParser::Next::nothing) {
      ORX_FUZZ_CHECK(isTooLong || parser.isUnknown1xx());
      return;
    }
    ORX_FUZZ_CHECK((next == ReplyParser::Next::body) == parser.headIsComplete());
    // libcurl follows it, and goes on with the next reply's head.
    if (next == ReplyParser::Next::redirectedReply) {
      ORX_FUZZ_CHECK(follows && !parser.isNoRedirect());
      parser.reset();
    }
  }
  ORX_FUZZ_CHECK(parser.statusCode() >= 200);
  const auto body = input.rest();
  bool wanted = true;
  for (std::size_t at = 0; wanted && at < body.size(); at += choice + 1) {
    wanted = parser.takeBody(body.substr(at, choice + 1));
  }
  ORX_FUZZ_CHECK(wanted == (body.size() <= longestBody));
  const std::vector<std::uint8_t> kept = parser.takeBody();
  const std::string_view expected = body.substr(0, longestBody);
  ORX_FUZZ_CHECK(kept == std::vector<std::uint8_t>(expected.begin(), expected.end()));
}
