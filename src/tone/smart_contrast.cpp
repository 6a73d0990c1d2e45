#include "tone/smart_contrast.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "tone/histogram.h"
#include "tone/levels.h"

namespace zel {

namespace {

struct Points {
  int32_t white, black;
};

// Between no change (level 0), the measured points (100), points at least a quarter from the ends (200) and mid-grey
// (400).
Points Moderated(Points measured, int32_t level) {
  const int32_t inner = std::min(measured.white, 192);
  const int32_t outer = std::max(measured.black, 64);
  if (level <= 100) return {255 - (255 - measured.white) * level / 100, measured.black * level / 100};
  if (level <= 200) {
    return {measured.white - (measured.white - inner) * (level - 100) / 100,
            measured.black + (outer - measured.black) * (level - 100) / 100};
  }
  return {inner - (inner - 128) * (level - 200) / 200, outer + (127 - outer) * (level - 200) / 200};
}

// The most level is a threshold; the least only keeps a careless host's numbers inside 32 bits.
constexpr int32_t kLeastLevel = -40000;
constexpr int32_t kMostLevel = 400;

}  // namespace

bool SmartContrastCurve(const void* samples, const Geometry& geometry, const ZelRect* rect, int32_t level, void* block,
                        int32_t tables, int32_t blockBits) {
  if (samples == nullptr || block == nullptr || (geometry.channels != 1 && geometry.channels != 3)) return false;
  if (tables < 1 || tables > 3 || (blockBits != 8 && blockBits != 16)) return false;
  MakeIdentityLut(block, tables, blockBits);

  float histogram[3 * kBins];
  int32_t high[3], low[3];
  if (ComputeHistogram(samples, geometry, rect, histogram, true, {false, 300, 300}) == 0) return false;
  if (!HistogramPercentiles(histogram, true, 0, geometry.channels, high, low, 0.995, 0.005)) return false;
  Points points{*std::max_element(high, high + geometry.channels), *std::min_element(low, low + geometry.channels)};
  points = {std::max(points.white, 128), std::min(points.black, 127)};
  points = Moderated(points, std::min(std::max(level, kLeastLevel), kMostLevel));

  const int32_t scale = blockBits == 8 ? 1 : 257;
  const int32_t white = points.white * scale, black = points.black * scale;
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  return MakeLevelsLut(block, tables, blockBits, whites, blacks);
}

bool SmartContrastLut(const ImageDesc* source, const ZelRect* rect, int32_t level, void* block, int32_t tables,
                      int32_t blockBits) {
  if (!IsUsable(source)) return false;
  return SmartContrastCurve(source->data, GeometryOf(*source), rect, level, block, tables, blockBits);
}

}  // namespace zel
