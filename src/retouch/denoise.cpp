#include "retouch/denoise.h"

#include <algorithm>

#include "retouch/detail_curve.h"
#include "retouch/wavelet_strip.h"

namespace zel {

namespace {

constexpr int32_t kMostLevels = 9;

// Values of the low-pass planes of all levels together: less than a third of the padded size.
uint64_t LowPassSize(uint64_t width, uint64_t height, int32_t levels) {
  uint64_t total = 0;
  for (int32_t level = 1; level <= levels; ++level) total += (width >> level) * (height >> level);
  return total;
}

void BuildTables(const int32_t* maxima, int32_t strength, DetailTables& tables) {
  const int32_t modes[kQuadrants] = {1, 1, 2};
  const double scales[kQuadrants] = {kInverseScales[0], kInverseScales[1], kInverseScales[1]};
  for (int32_t q = 0; q < kQuadrants; ++q) {
    uint8_t curve[kDetailEntries];
    BuildDetailCurve(maxima[q], strength, modes[q], curve);
    for (int32_t k = 0; k < kDetailEntries; ++k) tables[q][k] = curve[k] * scales[q];
  }
}

// Nothing to decompose: samples go through unchanged.
void CopyPlane(const Channel& channel) {
  const size_t step = static_cast<size_t>(channel.geometry.channels);
  for (int32_t y = 0; y < channel.geometry.height; ++y) {
    const size_t first = channel.geometry.RowOffset(y) + channel.offset;
    const size_t count = channel.InMemory(0, y, channel.geometry.width);
    for (size_t x = 0; x < count; ++x) channel.destination[first + x * step] = channel.source[first + x * step];
  }
}

// Stores the low-pass plane of a layer in `below` and finds the robust maxima of its details.
void MeasureLevel(const Layer& layer, const Layer& below, WaveletStrip* strip, int32_t* maxima) {
  const uint64_t area = static_cast<uint64_t>(below.width) * below.height;
  DetailCounts counts[kQuadrants] = {DetailCounts(area), DetailCounts(area), DetailCounts(area)};
  for (ptrdiff_t left = 0; left < below.width; left += WaveletStrip::kPairs) {
    strip->Measure(layer, left, below.plane, counts);
  }
  for (int32_t q = 0; q < kQuadrants; ++q) maxima[q] = counts[q].RobustMaximum();
}

void RebuildLevel(const Layer& layer, const Layer& below, const int32_t* maxima, int32_t strength,
                  WaveletStrip* strip) {
  DetailTables tables;
  BuildTables(maxima, strength, tables);
  for (ptrdiff_t left = 0; left < below.width; left += WaveletStrip::kPairs) {
    strip->Rebuild(layer, left, below.plane, tables);
  }
}

void DenoiseChannel(const Channel& channel, Layer* layers, int32_t levels, int32_t strength, WaveletStrip* strip) {
  if (levels == 0) {
    CopyPlane(channel);
    return;
  }
  int32_t maxima[kMostLevels][kQuadrants];
  layers[0].channel = channel;
  for (int32_t l = 0; l < levels; ++l) MeasureLevel(layers[l], layers[l + 1], strip, maxima[l]);
  for (int32_t l = levels - 1; l >= 0; --l) RebuildLevel(layers[l], layers[l + 1], maxima[l], strength >> l, strip);
}

}  // namespace

int32_t DenoiseStrength(uint32_t setting) {
  if (setting > INT32_MAX) return -1;
  return static_cast<int32_t>(setting <= 50 ? 2 * setting : std::min<uint32_t>(setting + 50, INT32_MAX));
}

int32_t DetailLevels(int32_t width, int32_t height, int32_t strength) {
  const int32_t quarter = std::min(width, height) >> 2;
  int32_t levels = 0;
  while (levels < kMostLevels && (2 << levels) <= std::min(quarter, strength)) ++levels;
  return levels;
}

int64_t PaddedSize(int32_t size, int32_t levels) {
  const int64_t step = int64_t{1} << levels;
  return (size + step - 1) / step * step;
}

bool DenoiseImage(const ImageDesc* source, const ImageDesc* destination, int32_t strength) {
  if (!SameImageLayout(source, destination)) return false;
  return WaveletDenoisePlanes(source->data, destination->data, GeometryOf(*source), strength);
}

bool WaveletDenoisePlanes(const uint8_t* source, uint8_t* destination, const Geometry& geometry, int32_t strength) {
  if (source == nullptr || destination == nullptr || !geometry.DescribesMemory()) return false;
  if (geometry.bits != 8 || strength < 0) return false;
  const int32_t levels = DetailLevels(geometry.width, geometry.height, strength);
  const uint64_t width = PaddedSize(geometry.width, levels), height = PaddedSize(geometry.height, levels);

  const uint64_t size = LowPassSize(width, height, levels);
  if (size > PTRDIFF_MAX / sizeof(double)) return false;
  Scratch<double> planes(static_cast<size_t>(size));
  WaveletStrip strip;
  if (!planes || !strip.Allocate(height)) return false;

  Layer layers[kMostLevels + 1];
  double* plane = planes.data();
  for (int32_t level = 0; level <= levels; ++level) {
    layers[level].width = static_cast<ptrdiff_t>(width >> level);
    layers[level].height = static_cast<ptrdiff_t>(height >> level);
    if (level == 0) continue;
    layers[level].plane = plane;
    plane += layers[level].width * layers[level].height;
  }
  for (size_t offset = 0; offset < 3; ++offset) {
    // In place the pass before may have changed it.
    const uint8_t lastByte = source[geometry.SampleCount() - 1];
    DenoiseChannel({source, destination, geometry, offset, lastByte}, layers, levels, strength, &strip);
  }
  return true;
}

}  // namespace zel
