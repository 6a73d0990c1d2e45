#include "tone/smart_contrast.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "core/rounding.h"
#include "core/work_time.h"
#include "tone/levels.h"

namespace zel {

namespace {

struct Points {
  int64_t white, black;
};

// Between no change (level 0), the measured points (100), points at least a quarter from the ends (200) and mid-grey
// (400). Wide, because nothing limits a level downwards.
Points Moderated(Points measured, int64_t level) {
  const int64_t inner = std::min<int64_t>(measured.white, 192);
  const int64_t outer = std::max<int64_t>(measured.black, 64);
  if (level <= 100) return {255 - (255 - measured.white) * level / 100, measured.black * level / 100};
  if (level <= 200) {
    return {measured.white - (measured.white - inner) * (level - 100) / 100,
            measured.black + (outer - measured.black) * (level - 100) / 100};
  }
  return {inner - (inner - 128) * (level - 200) / 200, outer + (127 - outer) * (level - 200) / 200};
}

constexpr int32_t kMostLevel = 400;

}  // namespace

int32_t SmartContrastLevel(int32_t strength) {
  const int64_t s = strength;
  return Saturated(s < 50 ? 2 * s : s < 90 ? (2 * (5 * s - 250)) / 4 + 100 : 2 * (5 * s - 350));
}

bool SmartContrastCurve(const void* samples, const Geometry& geometry, const ZelRect* rect, int32_t level, void* block,
                        int32_t tables, int32_t blockBits, const AppliedCurves* through) {
  if (samples == nullptr || block == nullptr || (geometry.channels != 1 && geometry.channels != 3)) return false;
  if (tables < 1 || tables > 3 || (blockBits != 8 && blockBits != 16)) return false;
  MakeIdentityLut(block, tables, blockBits);

  float histogram[3 * kBins];
  int32_t high[3], low[3];
  if (ComputeHistogram(samples, geometry, rect, histogram, true, {false, 300, 300, through}) == 0) return false;
  if (!HistogramPercentiles(histogram, true, 0, geometry.channels, high, low, 0.995, 0.005)) return false;
  const int32_t widest = *std::max_element(high, high + geometry.channels);
  const int32_t darkest = *std::min_element(low, low + geometry.channels);
  const Points points = Moderated({std::max(widest, 128), std::min(darkest, 127)}, std::min(level, kMostLevel));

  const int32_t scale = blockBits == 8 ? 1 : 257;
  const int32_t white = Saturated(points.white * scale), black = Saturated(points.black * scale);
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  return MakeLevelsLut(block, tables, blockBits, whites, blacks);
}

bool SmartContrastLut(const ImageDesc* source, const ZelRect* rect, int32_t level, void* block, int32_t tables,
                      int32_t blockBits, const AppliedCurves* through) {
  if (!IsUsable(source)) return false;
  return SmartContrastCurve(source->data, GeometryOf(*source), rect, level, block, tables, blockBits, through);
}

bool SmartContrastTables(const ImageDesc* source, int32_t strength, const ZelRect* rect, uint8_t* block) {
  if (strength != 0 && SmartContrastLut(source, rect, SmartContrastLevel(strength), block, 3, 8)) return true;
  MakeIdentityLut(block, 3, 8);
  return strength == 0;
}

bool SmartContrast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  if (strength == 0) return CopySource(source, destination, rect);
  const WorkTime time;
  uint8_t block[3 * kLutEntries8];
  if (!SmartContrastTables(source, strength, nullptr, block)) return false;
  const bool done = ApplyChannelLut(source, destination, rect, block, 3, 8);
  time.Report();
  return done;
}

}  // namespace zel
