#include "platform/http/HeaderFields.h"

#include <strings.h>

#include <algorithm>

namespace orx::platform {
namespace {

// Without its end.
std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

}  // namespace

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

HeaderFields fieldsOfHead(std::string_view head) {
  HeaderFields fields;
  while (!head.empty()) {
    const std::string_view line = takeLine(head);
    const bool continues = line.starts_with(' ') || line.starts_with('\t');
    const auto colon = line.find(':');
    if (continues && !fields.empty()) {
      fields.back().second.append(" ").append(trimmed(line));
    } else if (!continues && colon != std::string_view::npos) {
      fields.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    }
  }
  return fields;
}

std::optional<std::string_view> fieldOfHead(std::string_view head, std::string_view name) {
  while (!head.empty()) {
    const std::string_view line = takeLine(head);
    if (line.size() > name.size() && line[name.size()] == ':' &&
        equalsIgnoringCase(line.substr(0, name.size()), name)) {
      return trimmed(line.substr(name.size() + 1));
    }
  }
  return std::nullopt;
}

}  // namespace orx::platform
