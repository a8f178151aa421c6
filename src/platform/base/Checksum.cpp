// SPDX-License-Identifier: MIT
#include "platform/base/Checksum.h"

#include <array>

namespace orx::platform {
namespace {

// What four bits that are shifted out do to the rest. Bit by bit the checksum of a stored user
// would be a fifth of a process's start.
constexpr auto ofFourBits = [] {
  std::array<std::uint32_t, 16> effects{};
  for (std::uint32_t bits = 0; bits < effects.size(); ++bits) {
    std::uint32_t effect = bits;
    for (int bit = 0; bit < 4; ++bit) {
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
    checksum ^= byte;
    checksum = ofFourBits[checksum & 15U] ^ (checksum >> 4U);
    checksum = ofFourBits[checksum & 15U] ^ (checksum >> 4U);
  }
  return ~checksum;
}

}  // namespace orx::platform
