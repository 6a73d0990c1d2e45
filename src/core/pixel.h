// One pixel's colour, wherever its samples lie.
#ifndef ZEL_CORE_PIXEL_H_
#define ZEL_CORE_PIXEL_H_

#include <cstring>

#include "core/image.h"

namespace zel {

struct Rgb {
  int32_t red, green, blue;
};

inline bool IsInside(const ZelPoint& point, const Geometry& geometry) {
  return point.x >= 0 && point.y >= 0 && point.x < geometry.width && point.y < geometry.height;
}

// The pixel at (x, y), which lies inside the image, at the samples' own scale. Images of one or two channels give their
// first sample three times.
inline Rgb ColourAt(const void* samples, const Geometry& geometry, int32_t x, int32_t y) {
  const size_t first = geometry.RowOffset(y) + static_cast<size_t>(x) * geometry.channels;
  const auto sample = [&](size_t k) -> int32_t {
    if (geometry.bits == 8) return static_cast<const uint8_t*>(samples)[first + k];
    uint16_t word;  // the caller's rows may start at any byte
    std::memcpy(&word, static_cast<const uint8_t*>(samples) + 2 * (first + k), 2);
    return word;
  };
  if (geometry.channels < 3) return {sample(0), sample(0), sample(0)};
  return geometry.blueFirst ? Rgb{sample(2), sample(1), sample(0)} : Rgb{sample(0), sample(1), sample(2)};
}

}  // namespace zel

#endif  // ZEL_CORE_PIXEL_H_
