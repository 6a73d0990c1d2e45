#include "tone/histogram.h"

#include <algorithm>

#include "core/cache.h"

namespace zel {

namespace {

struct Grid {
  int32_t left, top, columns, rows, columnStep, rowStep;
};

// Of at least 1 that leaves about `target` of the extent.
int32_t Step(int32_t extent, int32_t target) {
  return target > 1 ? extent / target + (extent % target != 0 ? 1 : 0) : 1;
}

Grid GridOf(const Region& region, const Sampling& sampling) {
  const int32_t columnStep = sampling.everyPixel ? 1 : Step(region.Width(), sampling.columns);
  const int32_t rowStep = sampling.everyPixel ? 1 : Step(region.Height(), sampling.rows);
  return {region.left, region.top, (region.Width() - 1) / columnStep + 1, (region.Height() - 1) / rowStep + 1,
          columnStep,  rowStep};
}

template <class T>
int32_t Bin(T sample) {
  return sizeof(T) == 1 ? sample : sample / 257;
}

int32_t BinThrough(const uint8_t* curve, uint8_t sample) {
  return curve[sample];
}
int32_t BinThrough(const uint8_t* curve, uint16_t sample) {
  return Interpolated(curve, sample) / 257;
}

// Calls count(x, y, pixel) for the grid's pixels.
template <class T, class CountPixel>
void VisitGrid(const View<const T>& image, const Grid& grid, const CountPixel& count) {
  for (int32_t row = 0; row < grid.rows; ++row) {
    const int32_t y = grid.top + row * grid.rowStep;
    const T* const start = image.At(grid.left, y);
    // Rows that are skipped on the way to the next one keep the processor from seeing it coming.
    const size_t toNext = grid.rowStep > 1 && row + 1 < grid.rows ? image.RowOffset(grid.rowStep) : 0;
    for (int64_t column = 0; column < grid.columns; ++column) {
      const int64_t x = column * grid.columnStep;
      if (toNext != 0) AskFor(start + x * image.channels + toNext, 1);
      count(static_cast<int32_t>(grid.left + x), y, start + x * image.channels);
    }
  }
}

template <class T>
void Count(const View<const T>& image, const Grid& grid, const AppliedCurves* through, float* block) {
  const int32_t channels = image.channels;
  // Tables by sample rather than by colour.
  const int32_t first = channels == 3 ? image.PlaceOf(0) : 0;
  float* const bins[3] = {block + first * kBins, block + kBins, block + (2 - first) * kBins};
  if (through == nullptr) {
    return VisitGrid(image, grid, [&](int32_t, int32_t, const T* pixel) {
      bins[0][Bin(pixel[0])] += 1.0f;
      if (channels == 3) {
        bins[1][Bin(pixel[1])] += 1.0f;
        bins[2][Bin(pixel[2])] += 1.0f;
      }
    });
  }
  const Region& region = through->region;
  const Curves<uint8_t>& tables = through->curves;
  const uint8_t* const curves[3] = {tables.Table(first), tables.Table(1), tables.Table(2 - first)};
  VisitGrid(image, grid, [&](int32_t x, int32_t y, const T* pixel) {
    const bool curved = x >= region.left && x < region.right && y >= region.top && y < region.bottom;
    for (int32_t k = 0; k < channels; ++k) {
      bins[k][curved ? BinThrough(curves[k], pixel[k]) : Bin(pixel[k])] += 1.0f;
    }
  });
}

// The indices of one channel by the walk over its cumulative shares.
void FindPercentiles(const float* bins, double perBin, double highFraction, double lowFraction, int32_t* high,
                     int32_t* low) {
  const auto share = [&](int32_t i) { return static_cast<float>(bins[i] / perBin); };
  PercentileWalk walk(share);
  int32_t found[2] = {walk.To(lowFraction), walk.To(highFraction)};
  if (found[0] == kBins) found[0] = 0, found[1] = kBins - 1;
  if (found[1] == kBins) found[1] = found[0];
  if (found[0] >= found[1]) {
    if (found[1] != 0) {
      found[0] = found[1] - 1;
    } else {
      found[1] = found[0] + 1;
    }
  }
  *low = found[0];
  *high = found[1];
}

// Sum of i * p(i), kept in single precision throughout.
float Mean(const float* bins) {
  float mean = 0.0f;
  for (int32_t i = 0; i < kBins; ++i) mean += static_cast<float>(i) * bins[i];
  return mean;
}

}  // namespace

bool ClearHistogram(float* block, int32_t channels) {
  if (block == nullptr) return false;
  std::fill(block, block + channels * kBins, 0.0f);
  return true;
}

Region MeasuredRegion(const ZelRect* rect, const Region& whole) {
  if (rect == nullptr) return whole;
  const Region first = ClampedRegion(rect, {0, 0, whole.right - 1, whole.bottom - 1});
  return {first.left, first.top, first.right + 1, first.bottom + 1};
}

template <class T>
int32_t ComputeHistogram(const View<const T>& image, const Region& region, float* block, bool normalise,
                         const Sampling& sampling) {
  if ((image.channels != 1 && image.channels != 3) || !ClearHistogram(block, image.channels)) return 0;
  const Grid grid = GridOf(region, sampling);
  Count(image, grid, sampling.through, block);
  const int64_t visited = static_cast<int64_t>(grid.columns) * grid.rows;
  const int32_t count = static_cast<int32_t>(std::min<int64_t>(visited, INT32_MAX));
  if (normalise) {
    for (int32_t i = 0; i < image.channels * kBins; ++i) block[i] /= static_cast<float>(count);
  }
  return count;
}

bool HistogramPercentiles(const float* block, bool normalised, int32_t count, int32_t channels, int32_t* high,
                          int32_t* low, double highFraction, double lowFraction) {
  if (block == nullptr || (!normalised && count < 1) || (channels != 1 && channels != 3)) return false;
  if (!(lowFraction >= 0.0 && lowFraction < 1.0)) lowFraction = 0.01;
  if (!(highFraction >= 0.0 && highFraction <= 1.0)) highFraction = 0.99;
  for (int32_t k = 0; k < channels; ++k) {
    int32_t channelHigh, channelLow;
    FindPercentiles(block + k * kBins, normalised ? 1.0 : count, highFraction, lowFraction, &channelHigh, &channelLow);
    if (high != nullptr) high[k] = channelHigh;
    if (low != nullptr) low[k] = channelLow;
  }
  return true;
}

template <class T>
bool ChannelMeans(const View<const T>& image, const Region& region, float* red, float* green, float* blue,
                  bool everyPixel, const AppliedCurves* through) {
  if (red == nullptr && green == nullptr && blue == nullptr) return false;
  float block[3 * kBins] = {};
  if (ComputeHistogram(image, region, block, true, {everyPixel, 100, 100, through}) == 0) return false;
  float* const outputs[3] = {red, green, blue};
  for (int32_t k = 0; k < 3; ++k) {
    if (outputs[k] != nullptr) *outputs[k] = Mean(block + k * kBins);
  }
  return true;
}

template int32_t ComputeHistogram(const View<const uint8_t>&, const Region&, float*, bool, const Sampling&);
template int32_t ComputeHistogram(const View<const uint16_t>&, const Region&, float*, bool, const Sampling&);
template bool ChannelMeans(const View<const uint8_t>&, const Region&, float*, float*, float*, bool,
                           const AppliedCurves*);
template bool ChannelMeans(const View<const uint16_t>&, const Region&, float*, float*, float*, bool,
                           const AppliedCurves*);

}  // namespace zel
