// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace orx {

// A run of bytes that never changes once made. A cheap handle: copies share the bytes, so a picture
// may be passed around freely. Default-constructed it is empty, which is not the same as absent:
// where bytes can be absent the type is std::optional<Data>. Safe to read from any thread.
class ORX_EXPORT Data {
 public:
  Data() = default;
  explicit Data(std::vector<std::uint8_t> bytes);
  explicit Data(std::string_view text);

  std::span<const std::uint8_t> bytes() const;
  // The same bytes seen as text; no encoding is checked. Valid as long as any copy of this handle.
  std::string_view text() const;
  std::size_t size() const;
  bool empty() const;

  // By content.
  friend ORX_EXPORT bool operator==(const Data& left, const Data& right);

 private:
  std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

}  // namespace orx
