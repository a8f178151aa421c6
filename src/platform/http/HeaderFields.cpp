#include "platform/http/HeaderFields.h"

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
