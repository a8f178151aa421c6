#include "platform/base/Checksum.h"

namespace orx::platform {

std::uint32_t checksumOf(std::span<const std::uint8_t> bytes) {
  std::uint32_t checksum = 0xFFFFFFFFU;
  for (const auto byte : bytes) {
    checksum ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      checksum = (checksum >> 1U) ^ ((checksum & 1U) != 0 ? 0xEDB88320U : 0U);
    }
  }
  return ~checksum;
}

}  // namespace orx::platform
