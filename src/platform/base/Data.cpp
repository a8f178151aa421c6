// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Data.h>

#include <algorithm>

#include "platform/base/Wiping.h"

namespace orx {

Data::Data(std::vector<std::uint8_t> bytes)
    : bytes_(std::make_shared<platform::Wiped<std::vector<std::uint8_t>>>(std::move(bytes))) {}

// From the text's own elements, which are of another type, it would be copied byte by byte.
Data::Data(std::string_view text)
    : Data(std::vector<std::uint8_t>(
          reinterpret_cast<const std::uint8_t*>(text.data()),
          reinterpret_cast<const std::uint8_t*>(text.data()) + text.size())) {}

std::span<const std::uint8_t> Data::bytes() const {
  if (!bytes_) return {};
  return *bytes_;
}

std::string_view Data::text() const {
  const auto all = bytes();
  return {reinterpret_cast<const char*>(all.data()), all.size()};
}

std::size_t Data::size() const { return bytes().size(); }

bool Data::empty() const { return bytes().empty(); }

bool operator==(const Data& left, const Data& right) {
  return left.bytes_ == right.bytes_ || std::ranges::equal(left.bytes(), right.bytes());
}

}  // namespace orx
