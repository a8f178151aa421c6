// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orx::devserver {

// The parameters of a call, out of a JSON object. Names are compared without regard to letter case
// (callers write "Ticket" and "ticket"); a number or boolean counts as its text; null, arrays and
// objects count as absent.
class Parameters {
 public:
  // Absent when the text is no JSON object.
  static std::optional<Parameters> parse(std::string_view json);

  bool has(std::string_view name) const;
  // Empty when absent.
  std::string get(std::string_view name) const;

 private:
  std::map<std::string, std::string> values_;
};

}  // namespace orx::devserver
