#include "retouch/detail_curve.h"

#include <algorithm>
#include <cstdlib>

#include "core/curve.h"

namespace zel {

namespace {

// The largest magnitude, 255 at most.
int32_t MostOf(const int16_t* rounded, size_t count) {
  int16_t most = 0;
  for (size_t i = 0; i < count; ++i) {
    const int16_t negated = static_cast<int16_t>(-rounded[i]), magnitude = rounded[i] > negated ? rounded[i] : negated;
    most = magnitude > most ? magnitude : most;
  }
  return std::min<int32_t>(most, kDetailEntries - 1);
}

}  // namespace

void DetailCounts::Count(int32_t magnitude) {
  ++counts_[magnitude];
  ++reached_;
  while (floor_ < kDetailEntries - 1 && reached_ - counts_[floor_] > cut_) reached_ -= counts_[floor_++];
}

void DetailCounts::Add(const int16_t* rounded, size_t count, int32_t most) {
  // When enough details reach the floor, more that just reach it change nothing.
  const auto wanted = [&] { return reached_ > cut_ ? floor_ + 1 : floor_; };
  if (std::min(most, kDetailEntries - 1) < wanted()) return;
  // Few details are wanted, so most of them are passed over a vector at a time.
  constexpr size_t kBlock = 32;
  for (size_t first = 0; first < count; first += kBlock) {
    const size_t end = std::min(first + kBlock, count);
    if (MostOf(rounded + first, end - first) < wanted()) continue;
    for (size_t i = first; i < end; ++i) {
      const int32_t magnitude = std::min(std::abs(rounded[i]), kDetailEntries - 1);
      if (magnitude >= wanted()) Count(magnitude);
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
