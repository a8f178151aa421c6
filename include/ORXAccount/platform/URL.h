#pragma once

#include <ORXAccount/platform/Export.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orx {

// An absolute URL that keeps the text it was made from, character by character. Copies share it.
class ORX_EXPORT URL {
 public:
  // Absent when RFC 3986 does not allow the text as "scheme://authority…", or names no host in it.
  // Nothing is escaped or mended to make it one.
  static std::optional<URL> URLWithString(std::string_view text);

  // Moving copies: a URL that was moved from would have no text.
  URL(const URL& other) = default;
  URL& operator=(const URL& other) = default;

  const std::string& absoluteString() const { return parts_->text; }
  // Lower-case as the parser gives it.
  const std::string& scheme() const { return parts_->scheme; }
  const std::string& host() const { return parts_->host; }
  // Without query and fragment; "/" when the text names none.
  const std::string& path() const { return parts_->path; }

  friend bool operator==(const URL& left, const URL& right) {
    return left.absoluteString() == right.absoluteString();
  }

 private:
  struct Parts {
    std::string text;
    std::string scheme;
    std::string host;
    std::string path;
  };

  explicit URL(Parts parts) : parts_(std::make_shared<const Parts>(std::move(parts))) {}

  std::shared_ptr<const Parts> parts_;  // never null
};

}  // namespace orx
