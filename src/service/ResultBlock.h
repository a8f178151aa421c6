// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

namespace orx::service {

// The two patterns that answers are read with; matchResultBlock gives what they would, and they
// remain the definition that it is tested against.
inline constexpr std::string_view result_block_pattern =
    "<ResultCode>(.*)</ResultCode><ResultDesc>(.*)</ResultDesc>"
    "<ReturnDataType>(.*)</ReturnDataType>(?:<ReturnData>(.*)</ReturnData>|<ReturnData />)";
inline constexpr std::string_view strict_result_block_pattern =
    "<ResultCode>(.*)</ResultCode><ResultDesc>(.*)</ResultDesc>"
    "<ReturnDataType>(.*)</ReturnDataType><ReturnData>(.*)</ReturnData>";

// The captures of one result block; views into the answer. Nothing in them is decoded.
struct ResultBlock {
  std::string_view resultCode;
  std::string_view resultDescription;
  std::string_view returnDataType;
  // Absent when the block ends in the empty element.
  std::optional<std::string_view> returnData;
};

enum class ResultBlockPattern { Lenient, Strict };

// The first match of the pattern (case-insensitive, "." stops at every line terminator) in the
// whole answer; absent when there is none or the answer is not UTF-8. Time is linear in the
// answer's length.
std::optional<ResultBlock> matchResultBlock(std::string_view answer, ResultBlockPattern pattern);

}  // namespace orx::service
