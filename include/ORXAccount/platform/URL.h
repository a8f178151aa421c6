// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

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

  const std::string& absoluteString() const;
  // Lower-case as the parser gives it.
  const std::string& scheme() const;
  const std::string& host() const;
  // Without query and fragment; "/" when the text names none.
  const std::string& path() const;

  // The same text.
  friend ORX_EXPORT bool operator==(const URL& left, const URL& right);

 private:
  struct Content;
  explicit URL(std::shared_ptr<const Content> content);

  std::shared_ptr<const Content> content_;  // never null
};

}  // namespace orx
