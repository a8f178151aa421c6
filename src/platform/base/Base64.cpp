#include "platform/base/Base64.h"

#include <vector>

namespace orx::platform {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::uint32_t> valueOf(char digit) {
  if (digit >= 'A' && digit <= 'Z') return digit - 'A';
  if (digit >= 'a' && digit <= 'z') return digit - 'a' + 26;
  if (digit >= '0' && digit <= '9') return digit - '0' + 52;
  if (digit == '+') return 62;
  if (digit == '/') return 63;
  return std::nullopt;
}

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
      text += padding ? '=' : alphabet[group >> (18U - 6U * digit) & 63U];
    }
  }
  return text;
}

std::optional<Data> dataFromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  for (std::size_t index = 0; index < text.size() - padding; ++index) {
    const auto value = valueOf(text[index]);
    if (!value) return std::nullopt;
    group = (group << 6U | *value) & 0xFFFFFFU;
    // Each digit after the first of a group completes one byte.
    const unsigned place = index % 4;
    if (place != 0) bytes.push_back(static_cast<std::uint8_t>(group >> (6U - 2U * place)));
  }
  // The bits that padding leaves over must be zero: base64Of leaves nothing there.
  const std::uint32_t rest = padding == 2 ? 15U : padding == 1 ? 3U : 0U;
  if ((group & rest) != 0) return std::nullopt;
  return Data(std::move(bytes));
}

}  // namespace orx::platform
