#include "platform/TransferHeader.h"

#include <curl/curl.h>

#include <string_view>

#include "platform/HeaderFields.h"

namespace orx {

TransferHeader::TransferHeader() = default;

TransferHeader::~TransferHeader() = default;

curl_slist* TransferHeader::listFor(const URLRequest& request) {
  lines_.clear();
  for (const auto& [name, value] : request.headerFields) {
    // A line break would smuggle in another field.
    if ((name + value).find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) continue;
    std::string& line = lines_.emplace_back(name);
    line.append(value.empty() ? ";" : ": ").append(value);
  }
  lines_.emplace_back("Accept:");
  if (request.httpMethod != "GET") {
    lines_.emplace_back("Expect:");
    if (fieldValue(request.headerFields, "Content-Type") == nullptr) {
      lines_.emplace_back("Content-Type:");
    }
  }
  list_.assign(lines_.size(), {});
  for (std::size_t index = 0; index < lines_.size(); ++index) {
    list_[index].data = lines_[index].data();
    if (index > 0) list_[index - 1].next = &list_[index];
  }
  return list_.data();
}

}  // namespace orx
