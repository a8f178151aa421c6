#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The fields of an HTTP head, in the order received and with their names as received.
namespace orx {

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

// ASCII letters alone differ without making a difference.
bool equalsIgnoringCase(std::string_view left, std::string_view right);

// Without blanks and line ends at both ends.
std::string_view trimmed(std::string_view text);

// The first value under a name in any letter case; null when there is none.
const std::string* fieldValue(const HeaderFields& fields, std::string_view name);

// Adds one line of a head: a field, or the continuation of the last one. A line that is neither is
// left out.
void addFieldLine(HeaderFields& fields, std::string_view line);

}  // namespace orx
