#include "driver/picture.h"

#include <algorithm>
#include <cstring>

namespace zel::test {

namespace {

constexpr uint8_t kGuardByte = 0xA5;

// 16-bit red, green, blue or fourth sample.
uint32_t Drawn(uint32_t x, uint32_t y, uint32_t k) {
  static const uint32_t kNamed[3][4] = {{0xE0, 0xA8, 0x88, 9}, {0x50, 0x88, 0x30, 9}, {0x60, 0x98, 0xE0, 9}};
  const uint32_t column = x / 6, row = y / 5;
  const uint32_t field = row == 0 && column < 3 ? column : Hash(column, row, 1) % 10;
  const uint32_t texture = Hash(x, y, 2);
  switch (field) {
    case 0:
    case 1:
    case 2:
      return kNamed[field][k] * 257 + (texture & 0x7FF);
    case 3:
      return Hash(column, row, 3) & 0xFFFF;  // grey
    case 4:
      return (Hash(column, row, 4) >> k & 1) * 0xFFFF;  // a corner of the colour cube
    case 5:
      return Hash(x, y, 5 + k) & 0xFFFF;  // noise
    case 6:
      return Hash(column, row, 9 + k) & 0xFFFF;  // flat colour
    default:
      return std::min(((x * (900 + 300 * k) + y * (1900 - 400 * k)) & 0xFFFF) + (texture & 0xFFF), 0xFFFFu);
  }
}

uint32_t InMood(uint32_t value, uint32_t k, int mood) {
  static const uint32_t kLow[3][3] = {{0, 0, 0}, {0x4000, 0x3400, 0x2000}, {0, 0x200, 0x800}};
  static const uint32_t kHigh[3][3] = {{0xFFFF, 0xFFFF, 0xFFFF}, {0xF400, 0xE000, 0xA800}, {0x6000, 0x7000, 0xA000}};
  if (k > 2 || mood < 1 || mood > 2) return value;
  return kLow[mood][k] + static_cast<uint32_t>((kHigh[mood][k] - kLow[mood][k]) * uint64_t{value} / 0xFFFF);
}

}  // namespace

uint32_t Hash(uint32_t a, uint32_t b, uint32_t c) {
  uint32_t h = a * 0x9E3779B1u ^ b * 0x85EBCA77u ^ c * 0xC2B2AE3Du;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  h = (h ^ h >> 12) * 0x297A2D39u;
  return h ^ h >> 15;
}

uint64_t Digest(uint64_t digest, const void* memory, size_t bytes) {
  const uint8_t* const from = static_cast<const uint8_t*>(memory);
  for (size_t i = 0; i < bytes; ++i) digest = (digest ^ from[i]) * 0x100000001B3u;
  return digest;
}

Picture::Picture(const Layout& layout, int mood) {
  const int stride = layout.width * layout.channels + layout.padding;
  const size_t sample = layout.bits > 8 ? 2 : 1;
  memory_.assign(static_cast<size_t>(stride) * static_cast<size_t>(layout.height) * sample + 2 * kGuard, kGuardByte);
  const uint32_t kind = layout.channels == 1 ? 0x00100000 : layout.channels == 3 ? 0x01000000 : 0x02000000;
  const uint32_t format = kind | static_cast<uint32_t>(layout.bits << 8 | layout.channels << 4 | layout.blueFirst);
  desc_ = {layout.width, layout.height, format, stride, memory_.data() + kGuard};
  for (int y = 0; y < layout.height; ++y) {
    for (int s = 0; s < stride; ++s) {
      const int x = s / layout.channels, place = s % layout.channels;
      const int k = place < 3 && layout.channels >= 3 && layout.blueFirst ? 2 - place : place;
      const uint32_t colour = static_cast<uint32_t>(k);
      const uint32_t value = InMood(Drawn(static_cast<uint32_t>(x), static_cast<uint32_t>(y), colour), colour, mood);
      const uint16_t word = static_cast<uint16_t>(sample == 2 ? value : value >> 8);
      std::memcpy(desc_.data + (static_cast<size_t>(y) * static_cast<size_t>(stride) + static_cast<size_t>(s)) * sample,
                  &word, sample);
    }
  }
}

Picture::Picture(const Picture& other) : memory_(other.memory_), desc_(other.desc_) {
  desc_.data = memory_.data() + kGuard;
}

bool Picture::GuardsIntact() const {
  const auto isGuard = [](uint8_t byte) { return byte == kGuardByte; };
  return std::all_of(memory_.begin(), memory_.begin() + kGuard, isGuard) &&
         std::all_of(memory_.end() - kGuard, memory_.end(), isGuard);
}

}  // namespace zel::test
