// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devserver/HTTPMessages.h"

namespace orx::devserver {

// Which requests a fault is meant for; what is left empty matches everything.
struct FaultMatch {
  std::string path;
  // Of a SOAP call; other requests have none.
  std::string apiID;
  // Without port, in lower case.
  std::string host;
  // Only the n-th request that matches the rest, counted from 1 since the rule was added; 0 for
  // every one.
  std::size_t nth = 0;
};

// What happens to the answer. The operation itself is carried out as always: a registration whose
// answer is lost has happened. Several members can be set: the body is changed first, then the
// wire.
struct Fault {
  std::optional<int> status;
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<std::string> body;
  // The body is replaced by an XML element with this many bytes of white space.
  std::optional<std::size_t> huge;
  // The last end tag is left out.
  bool malformedXML = false;
  // An empty envelope: well-formed, without a result block.
  bool noResultBlock = false;

  // See Delivery.
  std::chrono::milliseconds delay{0};
  std::optional<std::chrono::milliseconds> stall;
  std::optional<std::size_t> truncateAfter;
  bool close = false;
  bool reset = false;
};

// Rules in the order of the plan; the first that is due decides. Any thread may call.
class FaultPlan {
 public:
  // Replaces all rules by those of a plan (docs/devserver.md), counted from now. Throws
  // std::invalid_argument with the rule's number and what is wrong with it; the rules then stay.
  void load(std::string_view json);

  // Counts the request for every rule that it matches.
  std::optional<Fault> next(std::string_view path, std::string_view apiID, std::string_view host);

 private:
  struct Rule {
    FaultMatch match;
    Fault fault;
    std::size_t seen = 0;
  };
  std::mutex mutex_;
  std::vector<Rule> rules_;
};

// The answer as the fault leaves it.
Delivery withFault(HTTPResponse response, const Fault& fault);

}  // namespace orx::devserver
