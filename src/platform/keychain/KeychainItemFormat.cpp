#include "platform/keychain/KeychainItemFormat.h"

#include <span>
#include <vector>

#include "platform/base/Checksum.h"

namespace orx::platform {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::string_view mark = "ORXITEM1";
constexpr std::size_t headerSize = mark.size() + std::size_t{3} * 4;
constexpr std::size_t checksumSize = 4;

void append(std::vector<std::uint8_t>& content, std::uint32_t number) {
  for (unsigned shift = 0; shift < 32; shift += 8) {
    content.push_back(static_cast<std::uint8_t>(number >> shift));
  }
}

void append(std::vector<std::uint8_t>& content, std::string_view text) {
  content.insert(content.end(), text.begin(), text.end());
}

std::uint32_t numberAt(Bytes content, std::size_t position) {
  std::uint32_t number = 0;
  for (std::size_t index = 4; index-- > 0;) number = number << 8U | content[position + index];
  return number;
}

}  // namespace

Data encodedItem(const KeychainItem& item, const Data& bytes) {
  std::vector<std::uint8_t> content;
  content.reserve(headerSize + item.service.size() + item.account.size() + bytes.size() +
                  checksumSize);
  append(content, mark);
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
  const auto bytes = content.bytes();
  if (!content.text().starts_with(mark) || bytes.size() < headerSize + checksumSize) return {};
  const std::size_t service = numberAt(bytes, mark.size());
  const std::size_t account = numberAt(bytes, mark.size() + 4);
  const std::size_t data = numberAt(bytes, mark.size() + 8);
  if (bytes.size() != headerSize + service + account + data + checksumSize) return {};
  const auto checked = bytes.first(bytes.size() - checksumSize);
  if (numberAt(bytes, checked.size()) != checksumOf(checked)) return {};

  const auto text = content.text();
  if (text.substr(headerSize, service) != item.service) return {};
  if (text.substr(headerSize + service, account) != item.account) return {};
  const auto stored = checked.subspan(headerSize + service + account);
  return Data(std::vector<std::uint8_t>(stored.begin(), stored.end()));
}

}  // namespace orx::platform
