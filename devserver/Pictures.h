// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orx::devserver {

// A square picture in two colours; a pixel is an index into the palette.
struct Drawing {
  using Colour = std::array<std::uint8_t, 3>;
  std::size_t side = 0;
  std::array<Colour, 2> palette{};
  std::vector<std::uint8_t> pixels;

  // Red, green, blue for each pixel, row by row.
  std::vector<std::uint8_t> rgb() const;
};

// A pattern that is the same for the same seed. The side is a multiple of eight.
Drawing drawPattern(std::string_view seed, std::size_t side);

// Each gives the bytes of a whole file and throws std::runtime_error when the encoder fails.
std::string encodePNG(const Drawing& drawing);
std::string encodeJPEG(const Drawing& drawing);
std::string encodeGIF(const Drawing& drawing);
std::string encodeWebP(const Drawing& drawing);

}  // namespace orx::devserver
