#include "photo.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>

namespace zel::bench {

namespace {

uint32_t Grain(uint32_t x, uint32_t y) {
  uint32_t h = x * 0x9E3779B1u ^ y * 0x85EBCA77u;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  return h ^ h >> 13;
}

// Blue, green and red of one of four areas, from 0 to 255.
void Area(int area, int shade, int* bgr) {
  const int colours[4][3] = {{225, 180, 120}, {60, 130, 80}, {130, 150, 200}, {128, 128, 130}};
  for (int k = 0; k < 3; ++k) bgr[k] = colours[area][k] + shade;
}

}  // namespace

Photo::Photo(const Size& size, int channels, int bits) {
  const size_t rowSamples = static_cast<size_t>(size.width) * channels;
  pixels_.resize(rowSamples * size.height * bits / 8);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const int area = (y * 3 / size.height + x * 4 / size.width) % 4;
      const int shade = (x % 97) / 4 - (y % 61) / 3;
      int bgr[4] = {0, 0, 0, 255};
      Area(area, shade, bgr);
      const uint32_t grain = Grain(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
      for (int k = 0; k < channels; ++k) {
        const int value = std::min(std::max(bgr[k] + static_cast<int>(grain >> (8 * k) & 15) - 8, 0), 255);
        const size_t i = y * rowSamples + static_cast<size_t>(x) * channels + k;
        if (bits == 8) {
          pixels_[i] = static_cast<uint8_t>(value);
        } else {
          const uint16_t word = static_cast<uint16_t>(value * 256 + (grain >> 20 & 255));
          std::memcpy(&pixels_[2 * i], &word, 2);
        }
      }
    }
  }
  const FormatCode format = channels == 1 ? (bits == 8 ? ZEL_FORMAT_GREY8 : ZEL_FORMAT_GREY16)
                                          : (bits == 8 ? ZEL_FORMAT_BGR24 : ZEL_FORMAT_BGR48);
  desc_ = {size.width, size.height, format, static_cast<int32_t>(rowSamples), pixels_.data()};
}

static Photo& Kept(int role, const Size& size, int channels, int bits) {
  static std::map<std::tuple<int, std::string, int, int>, std::unique_ptr<Photo>> photos;
  auto& photo = photos[{role, size.name, channels, bits}];
  if (!photo) photo = std::make_unique<Photo>(size, channels, bits);
  return *photo;
}

Photo& Source(const Size& size, int channels, int bits) {
  return Kept(0, size, channels, bits);
}
Photo& Destination(const Size& size, int channels, int bits) {
  return Kept(1, size, channels, bits);
}

}  // namespace zel::bench
