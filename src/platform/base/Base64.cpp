// SPDX-License-Identifier: MIT
#include "platform/base/Base64.h"

#include <vector>

#include "platform/base/Wiping.h"

namespace orx::platform {

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string base64Of(const Data& data) {
  const auto bytes = data.bytes();
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t index = 0; index < bytes.size(); index += 3) {
    std::uint32_t group = 0;
    for (std::size_t offset = 0; offset < 3; ++offset) {
      group = group << 8U | (index + offset < bytes.size() ? bytes[index + offset] : 0U);
    }
    for (unsigned digit = 0; digit < 4; ++digit) {
      const bool padding = index + digit > bytes.size();
      text += padding ? '=' : kAlphabet[group >> (18U - 6U * digit) & 63U];
    }
  }
  return text;
}

std::optional<Data> dataFromBase64(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const auto value = kAlphabet.find(text[index]);
    if (value == std::string_view::npos) break;
    // Only the last six bits that were read before count; older ones leave at the top.
    group = group << 6U | static_cast<std::uint32_t>(value);
    // Each digit after the first of a group completes one byte.
    const unsigned place = index % 4;
    if (place != 0) bytes.push_back(static_cast<std::uint8_t>(group >> (6U - 2U * place)));
  }
  Data data(std::move(bytes));
  // Without this, text that was cut off or changed (a foreign character, other padding, bits that
  // belong to no byte) would be taken for shorter data.
  return Wiped<std::string>(base64Of(data)) == text ? std::optional(std::move(data)) : std::nullopt;
}

}  // namespace orx::platform
