// SPDX-License-Identifier: MIT
// jpeglib.h uses FILE and size_t without including their headers.
// clang-format off
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
// clang-format on

#include <png.h>
#include <webp/encode.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "devserver/Pictures.h"

namespace orx::devserver {
namespace {

constexpr int kJPEGQuality = 90;

// Owns libjpeg's state and its output buffer, which are released also when an error is thrown.
struct JPEGCompressor {
  jpeg_error_mgr errors{};
  jpeg_compress_struct state{};
  unsigned char* output = nullptr;
  unsigned long size = 0;

  JPEGCompressor() {
    state.err = jpeg_std_error(&errors);
    // libjpeg's default handler calls exit().
    errors.error_exit = [](j_common_ptr) { throw std::runtime_error("JPEG encoder failed"); };
    jpeg_create_compress(&state);
    jpeg_mem_dest(&state, &output, &size);
  }
  JPEGCompressor(const JPEGCompressor&) = delete;
  JPEGCompressor& operator=(const JPEGCompressor&) = delete;
  ~JPEGCompressor() {
    jpeg_destroy_compress(&state);
    std::free(output);
  }
};
struct WebPRelease {
  void operator()(std::uint8_t* bytes) const { WebPFree(bytes); }
};

void append16(std::string& bytes, std::size_t value) {
  bytes += static_cast<char>(value & 0xFF);
  bytes += static_cast<char>(value >> 8 & 0xFF);
}

// GIF requires LZW. The dictionary is cleared before codes need a ninth bit, so every code is one
// byte and no bits need packing.
std::string uncompressedCodes(const std::vector<std::uint8_t>& pixels) {
  constexpr char clear = '\x80';
  constexpr char end = '\x81';
  constexpr std::size_t run = 120;
  std::string codes;
  for (std::size_t at = 0; at < pixels.size(); at += run) {
    codes += clear;
    const std::size_t length = std::min(run, pixels.size() - at);
    codes.append(reinterpret_cast<const char*>(pixels.data()) + at, length);
  }
  return codes + end;
}

}  // namespace

std::string encodePNG(const Drawing& drawing) {
  const std::vector<std::uint8_t> rgb = drawing.rgb();
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = image.height = static_cast<png_uint_32>(drawing.side);
  image.format = PNG_FORMAT_RGB;
  std::string bytes(PNG_IMAGE_PNG_SIZE_MAX(image), '\0');
  png_alloc_size_t size = bytes.size();
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, rgb.data(), 0, nullptr) == 0) {
    throw std::runtime_error("PNG encoder failed");
  }
  bytes.resize(size);
  return bytes;
}

std::string encodeJPEG(const Drawing& drawing) {
  std::vector<std::uint8_t> rgb = drawing.rgb();
  JPEGCompressor compressor;
  jpeg_compress_struct& state = compressor.state;
  state.image_width = state.image_height = static_cast<JDIMENSION>(drawing.side);
  state.input_components = 3;
  state.in_color_space = JCS_RGB;
  jpeg_set_defaults(&state);
  jpeg_set_quality(&state, kJPEGQuality, TRUE);
  jpeg_start_compress(&state, TRUE);
  for (std::size_t row = 0; row < drawing.side; ++row) {
    JSAMPROW line = rgb.data() + row * drawing.side * 3;
    jpeg_write_scanlines(&state, &line, 1);
  }
  jpeg_finish_compress(&state);
  return std::string(reinterpret_cast<const char*>(compressor.output), compressor.size);
}

std::string encodeGIF(const Drawing& drawing) {
  std::string bytes = "GIF89a";
  append16(bytes, drawing.side);
  append16(bytes, drawing.side);
  // A colour table of two entries.
  bytes.append("\xF0\x00\x00", 3);
  for (const auto& colour : drawing.palette) bytes.append(colour.begin(), colour.end());
  bytes += ',';
  append16(bytes, 0);
  append16(bytes, 0);
  append16(bytes, drawing.side);
  append16(bytes, drawing.side);
  bytes += '\0';
  bytes += '\x07';
  const std::string codes = uncompressedCodes(drawing.pixels);
  for (std::size_t at = 0; at < codes.size(); at += 255) {
    const std::string block = codes.substr(at, 255);
    bytes += static_cast<char>(block.size());
    bytes += block;
  }
  bytes += '\0';
  return bytes + ';';
}

std::string encodeWebP(const Drawing& drawing) {
  const std::vector<std::uint8_t> rgb = drawing.rgb();
  const int side = static_cast<int>(drawing.side);
  std::uint8_t* output = nullptr;
  const std::size_t size = WebPEncodeLosslessRGB(rgb.data(), side, side, side * 3, &output);
  const std::unique_ptr<std::uint8_t, WebPRelease> owner(output);
  if (size == 0) throw std::runtime_error("WebP encoder failed");
  return std::string(reinterpret_cast<const char*>(output), size);
}

}  // namespace orx::devserver
