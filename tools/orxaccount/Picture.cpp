// SPDX-License-Identifier: MIT
#include "Picture.h"

#include <string_view>

namespace tool {
namespace {

using namespace std::string_view_literals;

std::uint32_t byteAt(std::string_view bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

std::uint32_t bigEndian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < count; ++i) number = number << 8 | byteAt(bytes, at + i);
  return number;
}

std::uint32_t littleEndian(std::string_view bytes, std::size_t at, std::size_t count) {
  std::uint32_t number = 0;
  for (std::size_t i = count; i > 0; --i) number = number << 8 | byteAt(bytes, at + i - 1);
  return number;
}

using Size = std::optional<PictureFormat::Size>;

Size sizeOfPNG(std::string_view bytes) {
  if (bytes.size() < 24 || bytes.substr(12, 4) != "IHDR") return {};
  return {{bigEndian(bytes, 16, 4), bigEndian(bytes, 20, 4)}};
}

// Skips to the first start-of-frame segment, which holds the size.
Size sizeOfJPEG(std::string_view bytes) {
  std::size_t at = 2;
  while (at + 9 < bytes.size() && byteAt(bytes, at) == 0xff) {
    const std::uint32_t marker = byteAt(bytes, at + 1);
    const bool startOfFrame =
        marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
    if (startOfFrame) return {{bigEndian(bytes, at + 7, 2), bigEndian(bytes, at + 5, 2)}};
    at += 2 + bigEndian(bytes, at + 2, 2);
  }
  return {};
}

Size sizeOfGIF(std::string_view bytes) {
  if (bytes.size() < 10) return {};
  return {{littleEndian(bytes, 6, 2), littleEndian(bytes, 8, 2)}};
}

Size sizeOfBMP(std::string_view bytes) {
  if (bytes.size() < 26) return {};
  return {{littleEndian(bytes, 18, 4), littleEndian(bytes, 22, 4)}};
}

Size sizeOfWebP(std::string_view bytes) {
  if (bytes.size() < 30 || bytes.substr(12, 4) != "VP8X") return {};
  return {{littleEndian(bytes, 24, 3) + 1, littleEndian(bytes, 27, 3) + 1}};
}

}  // namespace

PictureFormat formatOf(const orx::Data& picture) {
  const std::string_view bytes = picture.text();
  if (bytes.starts_with("\x89PNG\r\n\x1a\n"sv)) return {"PNG", "png", sizeOfPNG(bytes)};
  if (bytes.starts_with("\xff\xd8\xff"sv)) return {"JPEG", "jpg", sizeOfJPEG(bytes)};
  if (bytes.starts_with("GIF87a"sv) || bytes.starts_with("GIF89a"sv)) {
    return {"GIF", "gif", sizeOfGIF(bytes)};
  }
  if (bytes.starts_with("RIFF"sv) && bytes.size() > 12 && bytes.substr(8, 4) == "WEBP"sv) {
    return {"WebP", "webp", sizeOfWebP(bytes)};
  }
  if (bytes.starts_with("BM"sv)) return {"BMP", "bmp", sizeOfBMP(bytes)};
  if (bytes.starts_with("<svg"sv) ||
      (bytes.starts_with("<?xml"sv) &&
       bytes.substr(0, 1024).find("<svg") != std::string_view::npos)) {
    return {"SVG", "svg", {}};
  }
  return {"unknown", "bin", {}};
}

}  // namespace tool
