// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <cstddef>
#include <string>

namespace orx::bench {

// The steps from an answer's body to the result that the callback receives; false when there is no
// result block.
bool readAnswer(const std::string& body);
// The same by libraries for any pattern and any JSON: PCRE2, compiled to machine code, and
// nlohmann's events, which build the same values.
bool readAnswerByOthers(const std::string& body);

// A JSON array of records, on one line of about `size` bytes, and an answer around it.
std::string listOfRecords(std::size_t size);
std::string answerWith(const std::string& returnData);
// Openings and closings of result blocks that never form a whole block.
std::string hostileAnswer(std::size_t size);

// So many users, of twenty fields each.
Value users(std::size_t count);

}  // namespace orx::bench
