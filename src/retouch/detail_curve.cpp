#include "retouch/detail_curve.h"

#include <algorithm>
#include <cmath>

#include "core/curve.h"

namespace zel {

void DetailCounts::Count(int32_t magnitude) {
  if (magnitude < floor_) return;
  ++counts_[magnitude];
  ++reached_;
  while (floor_ < kDetailEntries - 1 && reached_ - counts_[floor_] > cut_) reached_ -= counts_[floor_++];
}

void DetailCounts::Add(const WaveletKernels& kernels, const double* in, double scale, size_t count) {
  // Short enough that most blocks hold none of the largest details.
  constexpr size_t kBlock = 64;
  for (size_t first = 0; first < count; first += kBlock) {
    const size_t end = std::min(first + kBlock, count);
    // A magnitude rounds to the floor from one half below; the other quarter outweighs every rounding of this bound.
    if (!kernels.AnyReaches(in + first, (floor_ - 0.75) / scale, end - first)) continue;
    for (size_t i = first; i < end; ++i) {
      Count(static_cast<int32_t>(std::min(std::fabs(in[i] * scale) + 0.5, kDetailEntries - 1.0)));
    }
  }
}

int32_t DetailCounts::RobustMaximum() const {
  return reached_ > cut_ ? floor_ : 0;
}

void BuildDetailCurve(int32_t robustMaximum, int32_t strength, int32_t mode, uint8_t curve[kDetailEntries]) {
  for (int32_t k = 0; k < kDetailEntries; ++k) curve[k] = static_cast<uint8_t>(k);
  const int32_t most = robustMaximum;
  const int32_t knee = mode == 1 ? most >> 2 : mode == 4 ? (3 * most) >> 2 : most >> 1;
  if (strength <= 0 || knee == 0) return;

  const int64_t pull = static_cast<int64_t>(knee) * strength;
  const int64_t lowered = strength <= 100 ? knee - pull / 200 : ((3 * knee) >> 2) - pull / 400;
  const int32_t third = std::min(mode == 1 ? most >> 1 : mode == 4 ? (7 * most) >> 3 : (3 * most) >> 2, 254);
  const int32_t fourth = std::min(mode == 1 ? (3 * most) >> 2 : most, 254);
  CurvePoint points[5] = {{0, 0},
                          {knee, static_cast<int32_t>(std::max<int64_t>(lowered, 0))},
                          {third, third},
                          {fourth, fourth},
                          {255, 255}};
  // Small maxima make points meet; they move apart in x alone.
  if (points[1].x == points[2].x) points[2].x = points[1].x + 1;
  if (points[3].x == points[2].x) points[3].x = points[2].x + 1;
  if (points[3].x == 255) points[3].x = 254;
  BuildCurveLut(curve, points, 5);
}

}  // namespace zel
