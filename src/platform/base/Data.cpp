// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Data.h>

#include <algorithm>

#include "platform/base/Text.h"
#include "platform/base/Wiping.h"

namespace orx {

Data::Data(std::vector<std::uint8_t> bytes)
    : bytes_(std::make_shared<platform::Wiped<std::vector<std::uint8_t>>>(std::move(bytes))) {}

Data::Data(std::string_view text)
    : Data(std::vector<std::uint8_t>(platform::bytesOf(text).begin(),
                                     platform::bytesOf(text).end())) {}

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
