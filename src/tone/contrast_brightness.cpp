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

void MakeContrastBrightnessLut(void* block, int32_t tables, int32_t bits, const int32_t* contrast,
                               const int32_t* brightness) {
  if (bits != 8 && bits != 16) return;
  const int32_t last = bits == 8 ? 255 : 65535;
  for (int32_t k = 0; k < tables; ++k) {
    const Line line(last, contrast[k], brightness[k]);
    for (int32_t i = 0; i <= last; ++i) {
      if (bits == 8) {
        static_cast<uint8_t*>(block)[k * kLutEntries8 + i] = static_cast<uint8_t>(line(i));
      } else {
        static_cast<uint16_t*>(block)[k * kLutEntries16 + i] = static_cast<uint16_t>(line(i));
      }
    }
  }
}

bool ContrastBrightness(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect,
                        const int32_t* contrast, const int32_t* brightness) {
  if (!SameImageLayout(source, destination)) return false;
  return ContrastBrightnessRaw(source->data, destination->data, GeometryOf(*source), rect, contrast, brightness);
}

bool ContrastBrightnessRaw(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                           const int32_t* contrast, const int32_t* brightness) {
  if (source == nullptr || destination == nullptr || (geometry.channels != 1 && geometry.channels != 3)) return false;
  if (!geometry.DescribesMemory()) return false;
  if (geometry.bits == 8) {
    uint8_t block[3 * kLutEntries8];
    MakeContrastBrightnessLut(block, geometry.channels, 8, contrast, brightness);
    return ApplyChannelLutRaw(source, destination, geometry, rect, block, geometry.channels, 8);
  }
  const int32_t* const c = contrast;
  const int32_t* const b = brightness;
  const bool oneCurve = geometry.channels == 1 || (c[0] == c[1] && c[0] == c[2] && b[0] == b[1] && b[0] == b[2]);
  if (oneCurve) {
    const Line line(65535, c[0], b[0]);
    return MapWordsByFormula(source, destination, geometry, rect, 1,
                             [&line](int32_t, int32_t i) { return static_cast<uint16_t>(line(i)); });
  }
  const Line lines[3] = {{65535, c[0], b[0]}, {65535, c[1], b[1]}, {65535, c[2], b[2]}};
  return MapWordsByFormula(source, destination, geometry, rect, 3,
                           [&lines](int32_t k, int32_t i) { return static_cast<uint16_t>(lines[k](i)); });
}

}  // namespace zel
