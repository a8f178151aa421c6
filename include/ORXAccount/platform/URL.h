#pragma once

#include <ORXAccount/platform/Export.h>

#include <optional>
#include <string>
#include <string_view>

namespace orx {

// An absolute URL that keeps the text it was made from, character by character.
class ORX_EXPORT URL {
 public:
  // Absent when the text is not a URL (nothing is escaped or mended to make it one).
  static std::optional<URL> URLWithString(std::string_view text);

  const std::string& absoluteString() const { return text_; }
  // Lower-case as the parser gives it.
  const std::string& scheme() const { return scheme_; }
  const std::string& host() const { return host_; }
  // Without query and fragment; "/" when the text names none.
  const std::string& path() const { return path_; }

  friend bool operator==(const URL& left, const URL& right) { return left.text_ == right.text_; }

 private:
  URL() = default;

  std::string text_;
  std::string scheme_;
  std::string host_;
  std::string path_;
};

}  // namespace orx
