#include "tone/contrast_brightness.h"

#include <cmath>

#include "core/channel_lut.h"
#include "core/scratch.h"

namespace zel {

namespace {

// Entry i = i * slope + base + 0.5, clamped and truncated.
template <class T>
void FillLine(T* table, int32_t last, double slope, double base) {
  for (int32_t i = 0; i <= last; ++i) {
    const double v = i * slope + base + 0.5;
    table[i] = static_cast<T>(v < 0.0 ? 0.0 : v > last ? last : v);
  }
}

}  // namespace

void MakeContrastBrightnessLut(void* block, int32_t tables, int32_t bits, const int32_t* contrast,
                               const int32_t* brightness) {
  for (int32_t k = 0; k < tables; ++k) {
    // Degrees to radians with pi as 3.14159: the curves are defined with this constant.
    const double slope = std::tan((0.44 * contrast[k] + 45.0) * 0.01745327777777778);
    const double b = brightness[k];
    if (bits == 8) {
      FillLine(static_cast<uint8_t*>(block) + k * kLutEntries8, 255, slope,
               (slope + 1.0) * b * 1.275 + (1.0 - slope) * 127.5);
    } else if (bits == 16) {
      FillLine(static_cast<uint16_t*>(block) + k * kLutEntries16, 65535, slope,
               (slope + 1.0) * b * 327.675 + (1.0 - slope) * 32767.5);
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
  if (geometry.bits == 8) {
    uint8_t block[3 * kLutEntries8];
    MakeContrastBrightnessLut(block, geometry.channels, 8, contrast, brightness);
    return ApplyChannelLutRaw(source, destination, geometry, rect, block, geometry.channels, 8);
  }
  if (geometry.bits != 16) return false;
  Scratch<uint16_t> block(geometry.channels * kLutEntries16);
  if (!block) return false;
  MakeContrastBrightnessLut(block.data(), geometry.channels, 16, contrast, brightness);
  return ApplyChannelLutRaw(source, destination, geometry, rect, block.data(), geometry.channels, 16);
}

}  // namespace zel
