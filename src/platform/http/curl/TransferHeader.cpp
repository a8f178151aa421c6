#include "platform/http/curl/TransferHeader.h"

#include <curl/curl.h>

#include <string_view>

#include "platform/http/HeaderFields.h"

namespace orx::platform {
namespace {

constexpr std::size_t ownLines = 3;

// It would smuggle in another field.
bool hasLineBreak(const std::string& text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

}  // namespace

TransferHeader::TransferHeader() = default;

TransferHeader::~TransferHeader() = default;

curl_slist* TransferHeader::listFor(const URLRequest& request) {
  if (list_.empty() || method_ != request.httpMethod || fields_ != request.headerFields) {
    method_ = request.httpMethod;
    fields_ = request.headerFields;
    make();
  }
  return list_.data();
}

void TransferHeader::make() {
  lines_.clear();
  const HeaderFields none;
  const HeaderFields& fields = fields_ ? *fields_ : none;
  lines_.reserve(fields.size() + ownLines);
  for (const auto& [name, value] : fields) {
    if (hasLineBreak(name) || hasLineBreak(value)) continue;
    std::string& line = lines_.emplace_back();
    line.reserve(name.size() + 2 + value.size());
    line.append(name).append(value.empty() ? ";" : ": ").append(value);
  }
  lines_.emplace_back("Accept:");
  if (method_ != "GET") {
    lines_.emplace_back("Expect:");
    if (fieldValue(fields, "Content-Type") == nullptr) {
      lines_.emplace_back("Content-Type:");
    }
  }
  list_.assign(lines_.size(), {});
  for (std::size_t index = 0; index < lines_.size(); ++index) {
    list_[index].data = lines_[index].data();
    if (index > 0) list_[index - 1].next = &list_[index];
  }
}

}  // namespace orx::platform
