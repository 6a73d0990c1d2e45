// One pixel's colour, wherever its samples lie.
#ifndef ZEL_CORE_PIXEL_H_
#define ZEL_CORE_PIXEL_H_

#include "core/view.h"

namespace zel {

struct Rgb {
  int32_t red, green, blue;
};

inline bool operator==(const Rgb& a, const Rgb& b) {
  return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

template <class T>
bool IsInside(const ZelPoint& point, const View<T>& image) {
  return point.x >= 0 && point.y >= 0 && point.x < image.width && point.y < image.height;
}

// The pixel at (x, y), which lies inside the image, at the samples' own scale. Images of one or two channels give their
// first sample three times.
template <class T>
Rgb ColourAt(const View<T>& image, int32_t x, int32_t y) {
  const T* const pixel = image.At(x, y);
  if (image.channels < 3) return {pixel[0], pixel[0], pixel[0]};
  return {pixel[image.PlaceOf(0)], pixel[1], pixel[image.PlaceOf(2)]};
}

}  // namespace zel

#endif  // ZEL_CORE_PIXEL_H_
