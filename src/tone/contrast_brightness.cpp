#include "tone/contrast_brightness.h"

#include <cmath>

#include "core/channel_lut.h"
#include "core/formula_map.h"

namespace zel {

namespace {

// One curve on a scale from 0 to `last`.
struct Line {
  Line(int32_t lastEntry, int32_t contrast, int32_t brightness) : last(lastEntry) {
    // Degrees to radians with pi as 3.14159: the curves are defined with this constant.
    slope = std::tan((0.44 * contrast + 45.0) * 0.01745327777777778);
    const double perCent = last == 255 ? 1.275 : 327.675;
    const double middle = last == 255 ? 127.5 : 32767.5;
    base = (slope + 1.0) * brightness * perCent + (1.0 - slope) * middle;
  }
  int32_t operator()(int32_t i) const {
    const double v = i * slope + base + 0.5;
    return static_cast<int32_t>(v < 0.0 ? 0.0 : v > last ? last : v);
  }
  int32_t last;
  double slope, base;
};

}  // namespace

template <class T>
void MakeContrastBrightnessLut(Curves<T> curves, const int32_t* contrast, const int32_t* brightness) {
  for (int32_t k = 0; k < curves.tables; ++k) {
    const Line line(kLast<T>, contrast[k], brightness[k]);
    for (int32_t i = 0; i <= kLast<T>; ++i) curves.Table(k)[i] = static_cast<T>(line(i));
  }
}

bool ContrastBrightness(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                        const int32_t* contrast, const int32_t* brightness) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return ContrastBrightnessRaw(in, out, ClampedRegion(rect, in.Whole()), contrast, brightness);
  });
}

template <class T>
bool ContrastBrightnessRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                           const int32_t* contrast, const int32_t* brightness) {
  if (source.channels != 1 && source.channels != 3) return false;
  const int32_t* const c = contrast;
  const int32_t* const b = brightness;
  const bool oneCurve = source.channels == 1 || (c[0] == c[1] && c[0] == c[2] && b[0] == b[1] && b[0] == b[2]);
  if constexpr (sizeof(T) == 1) {
    uint8_t block[3 * kLutEntries8];
    const Curves<uint8_t> curves{block, oneCurve ? 1 : 3};
    MakeContrastBrightnessLut(curves, contrast, brightness);
    return ApplyChannelLutRaw(source, destination, region, curves);
  } else {
    if (oneCurve) {
      const Line line(kLast<T>, c[0], b[0]);
      return MapWordsByFormula(source, destination, region, 1,
                               [&line](int32_t, int32_t i) { return static_cast<T>(line(i)); });
    }
    const Line lines[3] = {{kLast<T>, c[0], b[0]}, {kLast<T>, c[1], b[1]}, {kLast<T>, c[2], b[2]}};
    return MapWordsByFormula(source, destination, region, 3,
                             [&lines](int32_t k, int32_t i) { return static_cast<T>(lines[k](i)); });
  }
}

template void MakeContrastBrightnessLut(Curves<uint8_t>, const int32_t*, const int32_t*);
template void MakeContrastBrightnessLut(Curves<uint16_t>, const int32_t*, const int32_t*);
template bool ContrastBrightnessRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const int32_t*,
                                    const int32_t*);
template bool ContrastBrightnessRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const int32_t*,
                                    const int32_t*);

}  // namespace zel
