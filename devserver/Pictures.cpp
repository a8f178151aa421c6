// SPDX-License-Identifier: MIT
#include "devserver/Pictures.h"

#include <openssl/sha.h>

#include <algorithm>

namespace orx::devserver {
namespace {

constexpr std::size_t kCells = 8;
constexpr std::uint8_t kInk = 1;

}  // namespace

std::vector<std::uint8_t> Drawing::rgb() const {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(pixels.size() * 3);
  for (const std::uint8_t pixel : pixels) {
    bytes.insert(bytes.end(), palette[pixel].begin(), palette[pixel].end());
  }
  return bytes;
}

Drawing drawPattern(std::string_view seed, std::size_t side) {
  std::array<std::uint8_t, SHA256_DIGEST_LENGTH> hash{};
  SHA256(reinterpret_cast<const unsigned char*>(seed.data()), seed.size(), hash.data());
  Drawing drawing;
  drawing.side = side;
  drawing.palette[0] = {240, 240, 240};
  // Dark enough to contrast with the background.
  std::transform(hash.begin(), hash.begin() + 3, drawing.palette[kInk].begin(),
                 [](std::uint8_t byte) { return static_cast<std::uint8_t>(32 + byte % 144); });
  drawing.pixels.assign(side * side, 0);
  const std::size_t cell = side / kCells;
  for (std::size_t y = 0; y < side; ++y) {
    for (std::size_t x = 0; x < side; ++x) {
      const std::size_t row = y / cell;
      const std::size_t column = std::min(x / cell, kCells - 1 - x / cell);
      const bool frame = row == 0 || row == kCells - 1 || column == 0;
      const bool ink = !frame && ((hash[8 + row] >> column) & 1) != 0;
      drawing.pixels[y * side + x] = ink ? kInk : 0;
    }
  }
  return drawing;
}

}  // namespace orx::devserver
