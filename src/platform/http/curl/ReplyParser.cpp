// SPDX-License-Identifier: MIT
#include "platform/http/curl/ReplyParser.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "platform/base/Text.h"

namespace orx::platform {
namespace {

// Memory that is set aside for a body at its first byte; the rest when the bytes come, because the
// length that a server announces is not to be believed.
constexpr std::size_t largestReservation = std::size_t{1024} * 1024;

constexpr long firstFinalStatus = 200;
constexpr long lastKnownInterim = 103;
constexpr long noContent = 204;
constexpr long notModified = 304;

constexpr std::string_view blanks = " \t\r\n";

// Beyond it libcurl cannot count.
constexpr std::size_t largestLength = std::numeric_limits<std::int64_t>::max();

// False when it is too large for the type.
template <typename Number>
bool readNumber(std::string_view text, Number& number) {
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
  return end.ec != std::errc::result_out_of_range;
}

constexpr bool isRedirect(long status) {
  return (status >= 301 && status <= 303) || status == 307 || status == 308;
}

// What follows the field's name and the blanks after it; absent when it is another field's line.
// `name` holds the colon.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view name) {
  if (line.size() < name.size() || strncasecmp(line.data(), name.data(), name.size()) != 0) {
    return std::nullopt;
  }
  line.remove_prefix(name.size());
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  return line;
}

bool names(std::string_view codings, std::string_view coding) {
  const auto areAlike = [](char left, char right) { return strncasecmp(&left, &right, 1) == 0; };
  // Some versions of clang refuse the result of std::ranges::search.
  return std::search(codings.begin(), codings.end(), coding.begin(), coding.end(), areAlike) !=
         codings.end();
}

}  // namespace

ReplyParser::Next ReplyParser::takeHeaderLine(std::string_view line, bool followsRedirects) {
  // Counted before anything else: interim replies, redirects and trailers have no other ceiling.
  headerSize_ += line.size();
  if (headerSize_ > longestHeader_) {
    excess_ = Excess::header;
    return Next::nothing;
  }
  // Lines after the head are the trailers of a chunked body. Nobody asks for them.
  if (reply_.headIsComplete) return Next::body;
  if (line.find_first_not_of(blanks) == std::string_view::npos) return endHead(followsRedirects);
  takeField(line);
  return Next::head;
}

void ReplyParser::takeField(std::string_view line) {
  if (line.starts_with("HTTP/")) {
    // A status line: whatever came before was an interim reply, or one that libcurl redirected.
    reset();
    readNumber(line.substr(std::min(line.find(' '), line.size() - 1) + 1), reply_.statusCode);
  } else if (const auto length = valueOf(line, "Content-Length:")) {
    reply_.announcesBody = true;
    const bool isRead = readNumber(*length, reply_.announcedSize);
    reply_.announcesTooMuch = !isRead || reply_.announcedSize > largestLength;
  } else if (const auto codings = valueOf(line, "Transfer-Encoding:")) {
    // After any other coding the body ends with the connection all the same.
    if (names(*codings, "chunked")) reply_.isChunked = true;
  } else if (const auto location = valueOf(line, "Location:")) {
    // libcurl passes over an empty one and goes where the next one says.
    if (!location->empty()) reply_.namesLocation = true;
  }
}

ReplyParser::Next ReplyParser::endHead(bool followsRedirects) {
  if (reply_.statusCode < firstFinalStatus) {
    // libcurl waits for the final reply after any status below 200. An interim reply has no body,
    // so what announces one is the server's last word, and waiting on would end in a time-out.
    reply_.isUnknown1xx = reply_.statusCode > lastKnownInterim;
    return reply_.isUnknown1xx && reply_.announcesBody ? Next::nothing : Next::head;
  }
  if (followsRedirects && isRedirect(reply_.statusCode) && reply_.namesLocation) {
    return Next::redirectedReply;
  }
  reply_.headIsComplete = true;
  return Next::body;
}

bool ReplyParser::isNoRedirect() const {
  return reply_.statusCode >= 300 && reply_.statusCode < 400 && !isRedirect(reply_.statusCode);
}

bool ReplyParser::mayHaveBody() const {
  return reply_.headIsComplete && reply_.statusCode != noContent &&
         reply_.statusCode != notModified;
}

bool ReplyParser::endsWithConnection() const {
  return mayHaveBody() && !reply_.announcesBody && !reply_.isChunked;
}

bool ReplyParser::fallsShort() const {
  return mayHaveBody() && reply_.announcesTooMuch && !reply_.isChunked;
}

bool ReplyParser::takeBody(std::string_view piece) {
  auto& body = reply_.body;
  if (body.empty()) {
    body.reserve(std::min({reply_.announcedSize, longestBody_, largestReservation}));
  }
  // What fits is kept, since a caller that gets an error and a status gets the bytes so far, too.
  const std::size_t taken = std::min(piece.size(), longestBody_ - body.size());
  if (body.capacity() - body.size() < taken) {
    body.makeRoom(std::max(body.capacity() * 2, body.size() + taken));
  }
  const auto bytes = bytesOf(piece.substr(0, taken));
  body.insert(body.end(), bytes.begin(), bytes.end());
  if (taken == piece.size()) return true;
  excess_ = Excess::body;
  return false;
}

}  // namespace orx::platform
