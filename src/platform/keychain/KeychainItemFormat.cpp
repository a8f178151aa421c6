// SPDX-License-Identifier: MIT
#include "platform/keychain/KeychainItemFormat.h"

#include <vector>

#include "platform/base/Checksum.h"
#include "platform/base/Text.h"

namespace orx::platform {

namespace {

constexpr std::string_view itemMark = "ORXITEM1";
constexpr std::size_t headerSize = itemMark.size() + std::size_t{3} * 4;
constexpr std::size_t checksumSize = 4;

// Byte by byte, so that the file is the same on machines of either byte order.
void append(std::vector<std::uint8_t>& content, std::uint32_t number) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    content.push_back(static_cast<std::uint8_t>(number >> shift));
  }
}

void append(std::vector<std::uint8_t>& content, std::string_view text) {
  const auto bytes = bytesOf(text);
  content.insert(content.end(), bytes.begin(), bytes.end());
}

}  // namespace

Data encodedItem(const KeychainItem& item, const Data& bytes) {
  std::vector<std::uint8_t> content;
  content.reserve(headerSize + item.service.size() + item.account.size() + bytes.size() +
                  checksumSize);
  append(content, itemMark);
  append(content, static_cast<std::uint32_t>(item.service.size()));
  append(content, static_cast<std::uint32_t>(item.account.size()));
  append(content, static_cast<std::uint32_t>(bytes.size()));
  append(content, item.service);
  append(content, item.account);
  append(content, bytes.text());
  append(content, checksumOf(content));
  return Data(std::move(content));
}

std::optional<Data> decodedItem(const KeychainItem& item, const Data& content) {
  // The item's name says where its data begin and end, and they have one encoding only: whatever is
  // wrong with the content, it differs from that.
  const auto dataBegin = headerSize + item.service.size() + item.account.size();
  if (content.size() < dataBegin + checksumSize) return std::nullopt;
  const auto stored = content.bytes().first(content.size() - checksumSize).subspan(dataBegin);
  Data data(std::vector<std::uint8_t>(stored.begin(), stored.end()));
  if (encodedItem(item, data) != content) return std::nullopt;
  return data;
}

}  // namespace orx::platform
