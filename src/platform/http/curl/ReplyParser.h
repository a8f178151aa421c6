// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/Wiping.h"

namespace orx::platform {

// Follows the replies to one request as their bytes come in: interim ones, those that redirect, and
// the last, which alone is kept. libcurl has taken the connection's bytes apart into lines and
// pieces of the body; which reply counts, and how much of it is taken, is decided here.
class ReplyParser {
 public:
  // What there was too much of for the ceilings.
  enum class Excess { none, header, body };
  // What comes after a line of the head; `nothing`: the line was refused, and the transfer ends.
  enum class Next { head, body, redirectedReply, nothing };

  // The ceilings, in bytes. That of the headers is for those of all replies together.
  ReplyParser(std::size_t longestHeader, std::size_t longestBody)
      : longestHeader_(longestHeader), longestBody_(longestBody) {}

  // A line with its end. `followsRedirects`: a redirect is not the reply that is wanted.
  Next takeHeaderLine(std::string_view line, bool followsRedirects);
  // False when nothing more is wanted.
  bool takeBody(std::string_view piece);
  // Starts over for another reply. The bytes of headers still count, so that no number of small
  // replies gets past the ceiling.
  void reset() { reply_ = {}; }

  long statusCode() const { return reply_.statusCode; }
  // True from the status line of a 3xx on that sends nobody elsewhere, though it may name a place.
  bool isNoRedirect() const;
  bool headIsComplete() const { return reply_.headIsComplete; }
  // True after a complete head with a status from 104 to 199: an interim reply by its number, but
  // none that HTTP defines.
  bool isUnknown1xx() const { return reply_.isUnknown1xx; }
  // True when nothing but the connection's end can tell where the body ends.
  bool endsWithConnection() const;
  // True when a longer body is announced than libcurl can count. It takes any end for that body's.
  bool fallsShort() const;
  Excess excess() const { return excess_; }

  std::vector<std::uint8_t> takeBody() { return std::move(reply_.body); }

 private:
  struct Reply {
    long statusCode = 0;
    bool headIsComplete = false;
    bool isUnknown1xx = false;
    bool namesLocation = false;
    bool announcesBody = false;
    bool isChunked = false;  // the last chunk is marked
    bool announcesTooMuch = false;
    std::size_t announcedSize = 0;
    Wiped<std::vector<std::uint8_t>> body;
  };

  bool mayHaveBody() const;
  void takeField(std::string_view line);
  Next endHead(bool followsRedirects);

  const std::size_t longestHeader_;
  const std::size_t longestBody_;
  Excess excess_ = Excess::none;
  std::size_t headerSize_ = 0;
  Reply reply_;
};

}  // namespace orx::platform
