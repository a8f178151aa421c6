// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orx::devserver {

// A request as the operations see it. The path is decoded and without the query; a query name
// that occurs twice keeps its first value. The host is lower case, with the port the client wrote.
struct HTTPRequest {
  std::string method;
  std::string path;
  std::string host;
  std::map<std::string, std::string> query;
  std::string body;
};

struct HTTPResponse {
  int status = 200;
  std::string contentType;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
  // For the request log: the result code that the body holds.
  std::string resultCode = {};
};

// As a stall or delay: until the client disconnects or the server stops.
inline constexpr std::chrono::milliseconds kForever = std::chrono::milliseconds::max();

// An answer and how its delivery fails. When no fault is set, it is sent as HTTP prescribes, and
// the connection stays open.
struct Delivery {
  HTTPResponse response;
  // Silence before the first byte.
  std::chrono::milliseconds delay{0};
  // Silence in the body: after `cutAfter` bytes, or after half of the body when nothing is cut.
  std::optional<std::chrono::milliseconds> stall;
  // The connection ends after this many bytes of the body; Content-Length states the whole body.
  std::optional<std::size_t> cutAfter;
  // The connection ends before the first byte.
  bool close = false;
  // `cutAfter` and `close` end the connection with a TCP reset instead of an end of stream.
  bool reset = false;
};

using HTTPHandler = std::function<Delivery(const HTTPRequest&)>;

}  // namespace orx::devserver
