// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orx::testing {

// The character data of a document without a document type, each element's end marked by
// "</NAME>", as libxml2 reads it: without text in CDATA sections. Absent when the document is not
// well-formed.
std::optional<std::string> readXMLByOracle(std::string_view document);

}  // namespace orx::testing
