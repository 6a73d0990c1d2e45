#include "tone/smart_contrast.h"

#include <algorithm>

#include "core/reduce.h"
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

template <class T, class B>
bool SmartContrastCurve(const View<const T>& image, const Region& measured, int32_t level, Curves<B> curves,
                        const AppliedCurves* through) {
  if (curves.block == nullptr || curves.tables < 1 || curves.tables > 3) return false;
  if (image.channels != 1 && image.channels != 3) return false;
  FillIdentity(curves);

  float histogram[3 * kBins];
  int32_t high[3], low[3];
  const Sampling sampling{false, kMeasuredExtent, kMeasuredExtent, through};
  if (ComputeHistogram(image, measured, histogram, true, sampling) == 0) return false;
  if (!HistogramPercentiles(histogram, true, 0, image.channels, high, low, 0.995, 0.005)) return false;
  const int32_t widest = *std::max_element(high, high + image.channels);
  const int32_t darkest = *std::min_element(low, low + image.channels);
  const Points points = Moderated({std::max(widest, 128), std::min(darkest, 127)}, std::min(level, kMostLevel));

  const int32_t white = Saturated(points.white * kLevelStep<B>), black = Saturated(points.black * kLevelStep<B>);
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  return MakeLevelsLut(curves, whites, blacks);
}

template <class B>
bool SmartContrastLut(const ImageDesc* source, const ZelRect* rect, int32_t level, Curves<B> curves) {
  return WithView(source, [&](const auto& image) {
    return SmartContrastCurve(image, MeasuredRegion(rect, image.Whole()), level, curves);
  });
}

template bool SmartContrastCurve(const View<const uint8_t>&, const Region&, int32_t, Curves<uint8_t>,
                                 const AppliedCurves*);
template bool SmartContrastCurve(const View<const uint16_t>&, const Region&, int32_t, Curves<uint8_t>,
                                 const AppliedCurves*);
template bool SmartContrastLut(const ImageDesc*, const ZelRect*, int32_t, Curves<uint8_t>);
template bool SmartContrastLut(const ImageDesc*, const ZelRect*, int32_t, Curves<uint16_t>);

bool SmartContrastTables(const ImageDesc* source, int32_t strength, const ZelRect* rect, uint8_t* block) {
  const Curves<uint8_t> curves{block, 3};
  if (strength != 0 && SmartContrastLut(source, rect, SmartContrastLevel(strength), curves)) return true;
  FillIdentity(curves);
  return strength == 0;
}

bool SmartContrast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  if (strength == 0) return CopySource(source, destination, rect);
  const WorkTime time;
  uint8_t block[3 * kLutEntries8];
  if (!SmartContrastTables(source, strength, nullptr, block)) return false;
  const bool done = ApplyChannelLut(source, destination, rect, Curves<uint8_t>{block, 3});
  time.Report();
  return done;
}

}  // namespace zel
