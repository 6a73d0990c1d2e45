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

// What the rectangle means to each step.
struct Areas {
  Region seen;      // widened by the ring: where detail is looked for
  Region measured;  // of the mask, for its stretch
  Region softened;  // of the mask, with the corners in order
  Region mixed;     // as given
};

Areas AreasOf(const ZelRect* rect, const Region& whole) {
  if (rect == nullptr) return {whole, whole, whole, whole};
  Region seen;
  Widen(rect->left, rect->right, whole.right, &seen.left, &seen.right);
  Widen(rect->top, rect->bottom, whole.bottom, &seen.top, &seen.bottom);
  const ZelRect widened{seen.left, seen.top, seen.right, seen.bottom};
  return {seen, MeasuredRegion(&widened, whole), ClampedRegion(rect, whole), GivenRegion(rect, whole)};
}

// Fills the mask where the ring around a pixel lies inside the image; outside the working area the luma counts as 0.
bool MakeDetailMask(const View<const uint8_t>& image, const Region& area, const View<uint8_t>& mask) {
  constexpr int32_t kRows = 2 * kRing + 1;
  const DetailKernels& kernels = ActiveKernels().detail;
  const size_t width = static_cast<size_t>(image.width);
  Scratch<uint8_t> luma;  // row y in line y % 7, and a line of zeros behind them
  if (!luma.AllocateZeroed((kRows + 1) * width)) return false;
  const auto line = [&](int32_t y) {
    return luma.data() + (y >= area.top && y < area.bottom ? y % kRows : kRows) * width;
  };
  const auto load = [&](int32_t y) {
    if (y < area.top || y >= area.bottom) return;
    kernels.LumaBytes(image.At(area.left, y), line(y) + area.left, area.Width(), image.blueFirst);
  };

  const Region inner{std::max(kRing, area.left - kRing), std::max(kRing, area.top - kRing),
                     std::min(image.width - kRing, area.right + kRing),
                     std::min(image.height - kRing, area.bottom + kRing)};
  if (inner.IsEmpty()) return true;
  for (int32_t y = inner.top - kRing; y < inner.top + kRing; ++y) load(y);
  for (int32_t y = inner.top; y < inner.bottom; ++y) {
    load(y + kRing);
    const uint8_t* rows[kRows];
    for (int32_t k = 0; k < kRows; ++k) rows[k] = line(y + k - kRing) + inner.left - kRing;
    kernels.RingMask(rows, mask.At(inner.left, y), inner.Width());
  }
  return true;
}

// The table that stretches the mask between its darkest and brightest hundredth and weakens it.
bool MakeMaskTable(const View<const uint8_t>& mask, const Region& measured, int32_t amount, uint8_t* table) {
  float histogram[kBins];
  if (ComputeHistogram(mask, measured, histogram, true, {false, 500, 500}) == 0) return false;
  int32_t high, low;
  if (!HistogramPercentiles(histogram, true, 0, 1, &high, &low, 0.99, 0.01)) return false;
  MakeLevelsLut(Curves<uint8_t>{table, 1}, &high, &low);
  if (amount >= 100) return true;
  const double factor = ToSingle(amount * 0.01);
  for (int32_t i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(std::max(table[i] * factor + 0.5, 0.0));
  return true;
}

bool BlendDetail(const View<const uint8_t>& source, const View<uint8_t>& destination, const Areas& areas,
                 int32_t amount) {
  if (source.channels != 3) return false;
  Scratch<uint8_t> weights;
  if (!weights.AllocateZeroed(static_cast<size_t>(source.width) * static_cast<size_t>(source.height))) return false;
  const View<uint8_t> mask = PackedView(weights.data(), source.width, source.height, 1);
  if (!MakeDetailMask(source, areas.seen, mask)) return false;
  if (!GaussianBlurRaw(mask, mask, areas.softened, amount < 100 ? 1.0 : amount * 0.01)) return false;
  uint8_t table[256];
  if (!MakeMaskTable(mask, areas.measured, amount, table)) return false;

  int32_t kernel[9];
  MakeSharpenKernel(100, kernel);
  ConvolvedRows sharpened;
  const Region &mixed = areas.mixed, touched = Grown(areas.seen, 1, source.Whole());
  if (touched.IsEmpty()) return true;
  if (!sharpened.Start(source, touched, kernel, kSharpenDivisor)) return false;
  // In place the source row is still needed when its sharpened form is ready.
  Scratch<uint8_t> line;
  if (source.data == destination.data && !line.Allocate(static_cast<size_t>(source.stride))) return false;

  const RowBlend mix(kMix, 3);
  const LutKernels& lut = ActiveKernels().lut;
  const size_t width = static_cast<size_t>(std::max(mixed.Width(), 0));
  for (int32_t y = touched.top; y < touched.bottom; ++y) {
    uint8_t* const effect = line ? line.data() : destination.At(0, y);
    sharpened.Next(effect + source.Offset(touched.left, 0));
    if (mixed.IsEmpty() || y < mixed.top || y >= mixed.bottom) continue;
    uint8_t* const row = mask.At(mixed.left, y);
    lut.MapBytes(row, row, width, table);
    mix.Row(effect + source.Offset(mixed.left, 0), source.At(mixed.left, y), row, destination.At(mixed.left, y), width);
  }
  return true;
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
  return WithByteViews(source, destination, [&](const View<const uint8_t>& in, const View<uint8_t>& out) {
    return BlendDetail(in, out, AreasOf(rect, in.Whole()), amount);
  });
}

bool VividImage(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t mode,
                int32_t strength) {
  const WorkTime time;
  const bool done = Enhanced(source, destination, rect, mode, strength);
  time.Report();
  return done;
}

}  // namespace zel
