#include "scene.h"

#include <cstdlib>
#include <cstring>

#include "driver/picture.h"

namespace zel::test {

Memory::Memory(int channels, int bits, bool blueFirst, int pitchKind) {
  const int row = kWidth * channels * bits / 8;
  // Odd at 16 bits too: rows of hosts may lie anywhere.
  const int pitch = pitchKind == 0 ? row : row + 5;
  bytes_.assign(static_cast<size_t>((kHeight - 1) * pitch + row), 0xA5);
  pixels_ = {bytes_.data(), pitch, kWidth, kHeight, channels, bits, blueFirst};
  if (pitchKind == 2) {
    pixels_.data = bytes_.data() + (kHeight - 1) * pitch;
    pixels_.rowBytes = -pitch;
  }
}

template <class F>
void Memory::Each(const F& visit) {
  const int channels = pixels_.channels;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (int k = 0; k < channels; ++k) {
        const int place = channels >= 3 && pixels_.blueFirst && k < 3 ? 2 - k : k;
        visit(static_cast<uint8_t*>(pixels_.data) + y * pixels_.rowBytes + (x * channels + place) * pixels_.bits / 8,
              static_cast<size_t>((y * kWidth + x) * channels + k));
      }
    }
  }
}

void Memory::Fill(const Plane& plane) {
  Each([&](uint8_t* at, size_t i) {
    const uint16_t value = static_cast<uint16_t>(plane.samples[i]);
    std::memcpy(at, &value, static_cast<size_t>(pixels_.bits / 8));
  });
}

bool Memory::Holds(const Plane& plane) {
  bool equal = true;
  Each([&](uint8_t* at, size_t i) {
    uint16_t value = 0;
    std::memcpy(&value, at, static_cast<size_t>(pixels_.bits / 8));
    equal &= value == plane.samples[i];
  });
  return equal;
}

bool Memory::PaddingIntact() const {
  const int row = kWidth * pixels_.channels * pixels_.bits / 8;
  const size_t pitch = static_cast<size_t>(std::abs(pixels_.rowBytes));
  for (size_t y = 0; y + 1 < kHeight; ++y) {
    for (size_t i = static_cast<size_t>(row); i < pitch; ++i) {
      if (bytes_[y * pitch + i] != 0xA5) return false;
    }
  }
  return true;
}

Plane Scene(int channels, int bits) {
  Layout layout;
  layout.width = kWidth;
  layout.height = kHeight;
  layout.bits = bits;
  layout.blueFirst = false;
  const Picture picture(layout, 1);
  Plane plane{channels, {}};
  for (uint32_t i = 0; i < kWidth * kHeight; ++i) {
    for (uint32_t k = 0; k < static_cast<uint32_t>(channels); ++k) {
      uint16_t value = 0;
      const bool alpha = channels % 2 == 0 && k + 1 == static_cast<uint32_t>(channels);
      std::memcpy(&value, picture.desc()->data + (3 * i + (channels < 3 ? 1 : k % 3)) * static_cast<uint32_t>(bits / 8),
                  static_cast<size_t>(bits / 8));
      plane.samples.push_back(alpha ? static_cast<int>(Hash(i, 7, 7) & (bits == 8 ? 0xFFu : 0xFFFFu)) : value);
    }
  }
  return plane;
}

Plane Converted(const Plane& from, int channels, int top, const Plane* alpha) {
  Plane to{channels, {}};
  const size_t in = static_cast<size_t>(from.channels);
  for (size_t i = 0; i < kWidth * kHeight; ++i) {
    const int* const p = &from.samples[i * in];
    for (int k = 0; k < (channels < 3 ? 1 : 3); ++k) to.samples.push_back(in < 3 ? p[0] : channels < 3 ? p[1] : p[k]);
    if (channels % 2 != 0) continue;
    const bool has = alpha->channels % 2 == 0;
    to.samples.push_back(has ? alpha->samples[(i + 1) * static_cast<size_t>(alpha->channels) - 1] : top);
  }
  return to;
}

}  // namespace zel::test
