// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace orx::platform {

// CRC-32, the one of zlib and PNG: finds every flipped bit and every short burst of them.
std::uint32_t checksumOf(std::span<const std::uint8_t> bytes);

}  // namespace orx::platform
