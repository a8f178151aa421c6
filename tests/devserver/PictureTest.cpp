// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "devserver/Pictures.h"
#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

using orx::devserver::Drawing;

std::size_t bigEndian(const std::string& bytes, std::size_t at, int count) {
  std::size_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at++]);
  return value;
}

class Pictures : public ::testing::Test {
 protected:
  // The accounts C00001001 to C00001004.
  Pictures() {
    service_.start();
    for (const char* login : {"a@b.example", "c@d.example", "e@f.example", "g@h.example"}) {
      ticketOfNewAccount(client(), login);
    }
  }
  ServiceClient client() const { return ServiceClient(service_); }
  Reply picture(const std::string& size, const std::string& name) const {
    return client().get(globalURL("/utilities/pic.ashx?s=" + size + "&f=" + name));
  }

  DevelopmentService service_;
};

TEST_F(Pictures, ComeInFourFormats) {
  const auto jpeg = picture("large", "C00001001.jpg");
  EXPECT_EQ(jpeg.contentType, "image/jpeg");
  EXPECT_EQ(jpeg.body.substr(0, 3), "\xFF\xD8\xFF");
  EXPECT_EQ(jpeg.body.substr(jpeg.body.size() - 2), "\xFF\xD9");
  const auto gif = picture("large", "C00001002.gif");
  EXPECT_EQ(gif.contentType, "image/gif");
  EXPECT_EQ(gif.body.substr(0, 6), "GIF89a");
  const auto webp = picture("large", "C00001003.webp");
  EXPECT_EQ(webp.contentType, "image/webp");
  EXPECT_EQ(webp.body.substr(8, 4), "WEBP");
  const auto png = picture("large", "C00001004.png");
  EXPECT_EQ(png.contentType, "image/png");
  EXPECT_EQ(png.body.substr(0, 8), "\x89PNG\r\n\x1A\n");
}

TEST_F(Pictures, ComeInThreeSizes) {
  EXPECT_EQ(bigEndian(picture("large", "C00001004.png").body, 16, 4), 256U);
  EXPECT_EQ(bigEndian(picture("medium", "C00001004.png").body, 16, 4), 128U);
  EXPECT_EQ(bigEndian(picture("small", "C00001004.png").body, 16, 4), 64U);
}

TEST_F(Pictures, AreTheSameEachTimeOnBothHosts) {
  const auto first = picture("large", "C00001004.png");
  EXPECT_EQ(picture("large", "C00001004.png").body, first.body);
  EXPECT_EQ(client().get(chinaURL("/utilities/pic.ashx?s=large&f=C00001004.png")).body, first.body);
}

TEST_F(Pictures, AreThereForRealPictureNamesOnly) {
  for (const char* name : {"", "C00001004.jpg", "C1004.png", "C00009999.png", "C.png",
                           "../C00001004.png", "C99999999999999999999.png"}) {
    EXPECT_EQ(picture("large", name).status, 404) << name;
  }
  EXPECT_EQ(client().get(globalURL("/utilities/pic.ashx")).status, 404);
}

TEST(Drawing, DiffersFromSeedToSeedAndIsSymmetric) {
  const Drawing one = orx::devserver::drawPattern("C00001001", 64);
  const Drawing other = orx::devserver::drawPattern("C00001002", 64);
  EXPECT_TRUE(one.pixels != other.pixels || one.palette != other.palette);
  for (std::size_t y = 0; y < 64; ++y) {
    for (std::size_t x = 0; x < 32; ++x) {
      ASSERT_EQ(one.pixels[y * 64 + x], one.pixels[y * 64 + 63 - x]);
    }
  }
}

// Decodes GIF's LZW with its growing code width, for pictures of 128 colours.
std::string readLZW(const std::string& data) {
  std::vector<std::string> table;
  std::string pixels;
  std::string previous;
  std::size_t bit = 0;
  int width = 8;
  while (bit + static_cast<std::size_t>(width) <= data.size() * 8) {
    std::size_t code = 0;
    for (int i = 0; i < width; ++i, ++bit) {
      code |= static_cast<std::size_t>(data[bit / 8] >> (bit % 8) & 1) << i;
    }
    if (code == 129) return pixels;
    if (code == 128) {
      table.clear();
      for (int i = 0; i < 130; ++i) table.emplace_back(1, static_cast<char>(i));
      previous.clear();
      width = 8;
      continue;
    }
    const std::string entry = code < table.size() ? table[code] : previous + previous.substr(0, 1);
    if (!previous.empty()) table.push_back(previous + entry.substr(0, 1));
    if (table.size() == std::size_t{1} << width && width < 12) ++width;
    pixels += entry;
    previous = entry;
  }
  return "no end";
}

TEST(Drawing, AsGIFReadsBackPixelForPixel) {
  const Drawing drawing = orx::devserver::drawPattern("C00001002", 64);
  const std::string gif = orx::devserver::encodeGIF(drawing);
  // The code size follows 13 bytes of header, 6 of colours and 10 of image descriptor.
  ASSERT_EQ(gif[29], 7);
  std::string data;
  std::size_t at = 30;
  while (gif.at(at) != '\0') {
    const auto length = static_cast<unsigned char>(gif[at]);
    data += gif.substr(at + 1, length);
    at += 1 + length;
  }
  EXPECT_EQ(gif.substr(at + 1), ";");
  EXPECT_EQ(readLZW(data), std::string(drawing.pixels.begin(), drawing.pixels.end()));
}

}  // namespace
}  // namespace orx::testing
