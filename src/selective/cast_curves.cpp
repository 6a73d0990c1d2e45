#include "selective/cast_curves.h"

#include <algorithm>

#include "core/cache.h"
#include "core/curve.h"
#include "selective/cast_gain_levels.h"
#include "selective/white_zone.h"

namespace zel {

namespace {

int32_t MovedTowards(int32_t level, int32_t grey, int32_t strength) {
  const int64_t sum = (100 - static_cast<int64_t>(strength)) * level + static_cast<int64_t>(strength) * grey;
  return static_cast<int32_t>(static_cast<uint32_t>(sum)) / 100;
}

// Rows and columns of a rectangle, never empty.
void NonEmptyRange(int32_t a, int32_t b, int32_t extent, int32_t* first, int32_t* end) {
  *first = std::min(std::max(std::min(a, b), 0), extent - 1);
  *end = std::min(std::max(std::max(a, b), 0), extent);
  if (*first == *end) *end = std::min(*first + 1, extent);
}

struct Sums {
  int64_t samples[3] = {};  // by position
  int64_t count = 0;

  void Add(int32_t first, int32_t second, int32_t third) {
    samples[0] += first;
    samples[1] += second;
    samples[2] += third;
    ++count;
  }
};

// Calls visit(pixel) for every pixel of the area; they have three channels.
template <class Visit>
void ForEachPixel(const View<const uint8_t>& image, const CastArea& area, const Visit& visit) {
  const Region& region = area.region;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const uint8_t* const marks = area.mask != nullptr ? area.mask + static_cast<size_t>(y) * image.width : nullptr;
    const uint8_t* pixel = image.At(region.left, y);
    if (y + 1 < region.bottom) AskFor(image.At(region.left, y + 1), 3 * static_cast<size_t>(region.Width()));
    for (int32_t x = region.left; x < region.right; ++x, pixel += 3) {
      if (marks == nullptr || marks[x] == kInWhiteZone) visit(pixel);
    }
  }
}

enum class Carrier { kCurve, kGain, kNothing };

// How far a gain must move one level so that the curve can do the rest; 255 is no gain. kNothing when a division by
// zero shows that there is no such move.
Carrier FindGain(int32_t source, int32_t target, int64_t* gain) {
  *gain = 255;
  if (source >= 250 && target == 255) {
    *gain = source;
    return Carrier::kGain;
  }
  if (source == 0) return Carrier::kNothing;
  const double ratio = static_cast<double>(target) / source;
  const double high = static_cast<double>(kCastGainHigh[source]) / source;
  const double low = static_cast<double>(kCastGainLow[source]) / source;
  if (ratio < high && ratio > low) return Carrier::kCurve;
  const double bound = ratio >= high ? high : low;
  if (bound == 0.0) return Carrier::kNothing;
  // At most 2^31 / 100 * 255 in magnitude, far inside 64 bits.
  const int64_t level = static_cast<int64_t>(target / bound);
  *gain = static_cast<int64_t>(static_cast<double>(level) / source * 255.0);
  return Carrier::kGain;
}

// 256 entries to 65536; the last level runs up to 65535.
void WidenCurve(const uint8_t* curve, uint16_t* out) {
  for (int32_t i = 0; i < 255; ++i) {
    for (int32_t j = 0; j < 256; ++j) *out++ = static_cast<uint16_t>(256 * curve[i] + (curve[i + 1] - curve[i]) * j);
  }
  const int32_t top = 256 * curve[255];
  for (int32_t j = 0; j < 256; ++j) *out++ = static_cast<uint16_t>(top + j * (65535 - top) / 256);
}

}  // namespace

CastArea MarkedArea(const ZelRect* rect, int32_t width, int32_t height) {
  CastArea area{{0, 0, width, height}};
  if (rect != nullptr) {
    NonEmptyRange(rect->left, rect->right, width, &area.region.left, &area.region.right);
    NonEmptyRange(rect->top, rect->bottom, height, &area.region.top, &area.region.bottom);
  }
  return area;
}

Rgb GreyTarget(const Rgb& source, int32_t strength) {
  const int32_t grey = (38 * source.red + 75 * source.green + 15 * source.blue) >> 7;
  return {MovedTowards(source.red, grey, strength), MovedTowards(source.green, grey, strength),
          MovedTowards(source.blue, grey, strength)};
}

bool MeanColourInMask(const View<const uint8_t>& image, const CastArea& area, const Curves<uint8_t>* curves,
                      Rgb* mean) {
  *mean = {0, 0, 0};
  if (image.channels != 3) return false;
  Sums sums;
  if (curves == nullptr) {
    ForEachPixel(image, area, [&](const uint8_t* pixel) { sums.Add(pixel[0], pixel[1], pixel[2]); });
  } else {
    const uint8_t* const first = curves->Table(image.PlaceOf(0));
    const uint8_t* const second = curves->Table(1);
    const uint8_t* const third = curves->Table(image.PlaceOf(2));
    ForEachPixel(image, area,
                 [&](const uint8_t* pixel) { sums.Add(first[pixel[0]], second[pixel[1]], third[pixel[2]]); });
  }
  if (sums.count == 0) return true;
  *mean = {static_cast<int32_t>(sums.samples[2] / sums.count), static_cast<int32_t>(sums.samples[1] / sums.count),
           static_cast<int32_t>(sums.samples[0] / sums.count)};
  return true;
}

void BuildGainLut(Curves<uint8_t> curves, const int64_t gains[3]) {
  for (int32_t k = 0; k < 3; ++k) {
    for (int64_t i = 0; i < 256; ++i) {
      curves.Table(k)[i] = static_cast<uint8_t>(std::min<int64_t>(std::max<int64_t>(i * gains[k] / 255, 0), 255));
    }
  }
}

template <class T>
bool BuildThreePointCurves(Curves<T> curves, const Rgb& source, const Rgb& target, int32_t scale) {
  if (curves.block == nullptr || scale <= 0) return false;
  const int32_t from[3] = {source.red, source.green, source.blue};
  const int32_t to[3] = {target.red, target.green, target.blue};
  for (int32_t k = 0; k < std::min(curves.tables, 3); ++k) {
    const CurvePoint points[3] = {{0, 0},
                                  {static_cast<int32_t>(static_cast<int64_t>(from[k]) * 255 / scale),
                                   static_cast<int32_t>(static_cast<int64_t>(to[k]) * 255 / scale)},
                                  {255, 255}};
    if constexpr (sizeof(T) == 1) {
      BuildCurveLut(curves.Table(k), points, 3);
    } else {
      uint8_t curve[kLutEntries8];
      BuildCurveLut(curve, points, 3);
      WidenCurve(curve, curves.Table(k));
    }
  }
  return true;
}

bool BuildCastCurves(const View<const uint8_t>& image, const CastArea& area, const Rgb& source, const Rgb& target,
                     Curves<uint8_t> curves) {
  if (curves.block == nullptr) return false;
  FillIdentity(curves);
  // Only a dark red ends the matter here; green and blue are stopped below, where they would divide by zero.
  if (source.red < 2 || image.channels != 3 || source == target) return true;

  const int32_t from[3] = {source.red, source.green, source.blue};
  const int32_t to[3] = {target.red, target.green, target.blue};
  int64_t gains[3];
  bool anyGain = false;
  for (int32_t k = 0; k < 3; ++k) {
    const Carrier carrier = FindGain(from[k], to[k], &gains[k]);
    if (carrier == Carrier::kNothing) return true;
    anyGain = anyGain || carrier == Carrier::kGain;
  }
  if (!anyGain) return BuildThreePointCurves(curves, source, target, 255);

  BuildGainLut(curves, gains);
  Rgb gained;
  if (!MeanColourInMask(image, area, &curves, &gained)) return false;
  if (gained.red == 255 || gained.green == 255 || gained.blue == 255) return true;
  uint8_t block[3 * kLutEntries8];
  const Curves<uint8_t> rest{block, 3};
  BuildThreePointCurves(rest, gained, target, 255);
  return ComposeChannelLut(curves, rest);
}

template bool BuildThreePointCurves(Curves<uint8_t>, const Rgb&, const Rgb&, int32_t);
template bool BuildThreePointCurves(Curves<uint16_t>, const Rgb&, const Rgb&, int32_t);

}  // namespace zel
