#include "color/vivid.h"

#include <algorithm>

#include "core/blend.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/work_time.h"
#include "filter/gaussian_blur.h"
#include "filter/sharpen.h"
#include "simd/kernels.h"
#include "tone/histogram.h"
#include "tone/levels.h"

namespace zel {

namespace {

constexpr int32_t kRing = 3;  // how far the detail mask looks around a pixel

// From the lesser of a - 3 and b + 3 to the greater: a rectangle with its corners in order grows on both sides.
void Widen(int64_t a, int64_t b, int32_t size, int32_t* from, int32_t* to) {
  *from = static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(std::min(a - kRing, b + kRing), 0), size));
  *to = static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(std::max(a - kRing, b + kRing), 0), size));
}

Region WorkingArea(const ZelRect* rect, const Geometry& geometry) {
  Region area{0, 0, geometry.width, geometry.height};
  if (rect != nullptr) {
    Widen(rect->left, rect->right, geometry.width, &area.left, &area.right);
    Widen(rect->top, rect->bottom, geometry.height, &area.top, &area.bottom);
  }
  return area;
}

// Fills the mask where the ring around a pixel lies inside the image; outside the working area the luma counts as 0.
bool MakeDetailMask(const uint8_t* samples, const Geometry& geometry, const Region& area, uint8_t* mask) {
  constexpr int32_t kRows = 2 * kRing + 1;
  const size_t width = geometry.width;
  Scratch<uint8_t> luma;  // row y in line y % 7, and a line of zeros behind them
  if (!luma.AllocateZeroed((kRows + 1) * width)) return false;
  const auto line = [&](int32_t y) {
    return luma.data() + (y >= area.top && y < area.bottom ? y % kRows : kRows) * width;
  };
  const auto load = [&](int32_t y) {
    if (y < area.top || y >= area.bottom) return;
    const uint8_t* const first = samples + geometry.RowOffset(y) + static_cast<size_t>(area.left) * geometry.channels;
    ActiveKernels().detail.LumaBytes(first, line(y) + area.left, area.Width(), geometry.blueFirst);
  };

  const Region inner{std::max(kRing, area.left - kRing), std::max(kRing, area.top - kRing),
                     std::min(geometry.width - kRing, area.right + kRing),
                     std::min(geometry.height - kRing, area.bottom + kRing)};
  if (inner.IsEmpty()) return true;
  for (int32_t y = inner.top - kRing; y < inner.top + kRing; ++y) load(y);
  for (int32_t y = inner.top; y < inner.bottom; ++y) {
    load(y + kRing);
    const uint8_t* rows[kRows];
    for (int32_t k = 0; k < kRows; ++k) rows[k] = line(y + k - kRing) + inner.left - kRing;
    ActiveKernels().detail.RingMask(rows, mask + y * width + inner.left, inner.Width());
  }
  return true;
}

// The table that stretches the mask between its darkest and brightest hundredth and weakens it.
bool MakeMaskTable(const uint8_t* mask, const Geometry& geometry, const Region& area, int32_t amount, uint8_t* table) {
  float histogram[kBins];
  const ZelRect rect{area.left, area.top, area.right, area.bottom};
  if (ComputeHistogram(mask, geometry, &rect, histogram, true, {false, 500, 500}) == 0) return false;
  int32_t high, low;
  if (!HistogramPercentiles(histogram, true, 0, 1, &high, &low, 0.99, 0.01)) return false;
  MakeLevelsLut(table, 1, 8, &high, &low);
  if (amount >= 100) return true;
  const double factor = ToSingle(amount * 0.01);
  for (int32_t i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(std::max(table[i] * factor + 0.5, 0.0));
  return true;
}

// One row of an image as an image of its own.
ImageDesc RowRecord(const void* row, Geometry geometry) {
  geometry.height = 1;
  return Describe(row, geometry);
}

bool Enhanced(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t mode,
              int32_t strength) {
  const int64_t s = strength;
  if (mode == 0) return Sharpen(source, destination, rect, Saturated(s * 4 / 5));
  if (mode == 1 && s > 30) return Sharpen(source, destination, rect, Saturated(20 + (55 * s - 1650) / 70));
  if (mode == 1) return VividDetailBlend(source, destination, rect, Saturated(s * 8 / 3));
  if (mode == 2 && s > 40) return Sharpen(source, destination, rect, Saturated(s / 2));
  if (mode == 2) return VividDetailBlend(source, destination, rect, Saturated(s * 2));
  return rect != nullptr;
}

}  // namespace

bool VividDetailBlend(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount) {
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source), maskGeometry = MaskGeometry(geometry.width, geometry.height);
  if (geometry.channels != 3 || geometry.bits != 8) return false;
  const Region area = WorkingArea(rect, geometry);

  Scratch<uint8_t> mask;
  if (!mask.AllocateZeroed(maskGeometry.SampleCount())) return false;
  if (!MakeDetailMask(source->data, geometry, area, mask.data())) return false;
  const double sigma = amount < 100 ? 1.0 : amount * 0.01;
  if (!GaussianBlurRaw(mask.data(), mask.data(), maskGeometry, rect, sigma)) return false;
  uint8_t table[256];
  if (!MakeMaskTable(mask.data(), maskGeometry, area, amount, table)) return false;

  int32_t kernel[9];
  MakeSharpenKernel(100, kernel);
  ConvolvedRows sharpened;
  const ZelRect areaRect{area.left, area.top, area.right, area.bottom};
  if (!sharpened.Start(source->data, geometry, &areaRect, kernel, kSharpenDivisor)) return false;
  const Region touched = sharpened.Touched();
  if (touched.IsEmpty()) return true;
  // In place the source row is still needed when its sharpened form is ready.
  Scratch<uint8_t> line;
  if (source->data == destination->data && !line.Allocate(geometry.stride)) return false;

  const Region blended = GivenRegion(rect, geometry.width, geometry.height);
  const ZelRect columns{blended.left, 0, blended.right, 1};
  for (int32_t y = touched.top; y < touched.bottom; ++y) {
    uint8_t* const out = destination->data + geometry.RowOffset(y);
    uint8_t* const effect = line ? line.data() : out;
    sharpened.Next(effect + static_cast<size_t>(touched.left) * geometry.channels);
    if (blended.IsEmpty() || y < blended.top || y >= blended.bottom) continue;
    uint8_t* const weights = mask.data() + maskGeometry.RowOffset(y);
    ActiveKernels().lut.MapBytes(weights + blended.left, weights + blended.left, blended.Width(), table);
    const ImageDesc effectRow = RowRecord(effect, geometry), outRow = RowRecord(out, geometry);
    const ImageDesc sourceRow = RowRecord(source->data + geometry.RowOffset(y), geometry);
    const ImageDesc maskRow = RowRecord(weights, maskGeometry);
    if (!MaskBlend(&effectRow, &sourceRow, &outRow, &maskRow, kMix, &columns)) return false;
  }
  return true;
}

bool VividImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t mode,
                int32_t strength) {
  const WorkTime time;
  const bool done = Enhanced(source, destination, rect, mode, strength);
  time.Report();
  return done;
}

}  // namespace zel
