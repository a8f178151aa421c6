// SPDX-License-Identifier: MIT
#include "platform/base/Checksum.h"

#include <array>

namespace orx::platform {
namespace {

// What eight bits that are shifted out do to the rest. Bit by bit the checksum of a stored user
// would be a fifth of a process's start.
constexpr auto ofEightBits = [] {
  std::array<std::uint32_t, 256> effects{};
  for (std::uint32_t bits = 0; bits < effects.size(); ++bits) {
    std::uint32_t effect = bits;
    for (int bit = 0; bit < 8; ++bit) {
      effect = (effect >> 1U) ^ ((effect & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    effects[bits] = effect;
  }
  return effects;
}();

}  // namespace

std::uint32_t checksumOf(std::span<const std::uint8_t> bytes) {
  std::uint32_t checksum = 0xFFFFFFFFU;
  for (const auto byte : bytes) {
    checksum = ofEightBits[(checksum ^ byte) & 255U] ^ (checksum >> 8U);
  }
  return ~checksum;
}

}  // namespace orx::platform
