// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

struct PictureFormat {
  std::string name;       // "PNG"; "unknown" for what its first bytes do not tell
  std::string extension;  // "png"; "bin" for an unknown one
  struct Size {
    std::uint32_t width;
    std::uint32_t height;
  };
  // In pixels; absent when the format's header does not tell it cheaply.
  std::optional<Size> size;
};

// By the first bytes; nothing is decoded.
PictureFormat formatOf(const orx::Data& picture);

}  // namespace tool
