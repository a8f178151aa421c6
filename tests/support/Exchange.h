// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace orx::testing {

// One recorded exchange with the account service: a file of tests/exchanges.
struct Exchange {
  std::string name;
  // Names of the exchanges that come before it, in this order; they bring the service into its
  // state.
  std::vector<std::string> after;
  std::string path;
  // Empty for the JSON calls.
  std::string apiID;
  std::string appID;
  std::string appKey;
  // The parameter text as sent. "${ticket}" stands for the ticket that an earlier answer held.
  std::string request;
  int status = 200;
  // The whole answer; "${ticket}" and "${token}" stand for 48 hexadecimal digits. When it is
  // absent, the answer is matched against the pattern instead (ECMAScript, found anywhere).
  std::optional<std::string> answer;
  std::string answerPattern;
};

// Throws std::runtime_error with the file's name when it is missing or not as described.
Exchange loadExchange(const std::string& name);

// Sorted.
std::vector<std::string> exchangeNames();

}  // namespace orx::testing
