#include "platform/HeaderFields.h"

#include <strings.h>

namespace orx {

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

const std::string* fieldValue(const HeaderFields& fields, std::string_view name) {
  for (const auto& [key, value] : fields) {
    if (equalsIgnoringCase(key, name)) return &value;
  }
  return nullptr;
}

void addFieldLine(HeaderFields& fields, std::string_view line) {
  const bool continues = line.starts_with(' ') || line.starts_with('\t');
  if (continues && !fields.empty()) {
    fields.back().second.append(" ").append(trimmed(line));
    return;
  }
  const auto colon = line.find(':');
  if (colon == std::string_view::npos) return;
  fields.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
}

}  // namespace orx
