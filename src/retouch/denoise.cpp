#include "retouch/denoise.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/curve.h"
#include "core/scratch.h"
#include "retouch/wavelet.h"

namespace zel {

namespace {

constexpr int32_t kMostLevels = 9;
// Columns that are transformed together, so that every line of memory is touched once.
constexpr size_t kGroup = 8;

// The top-left block of the plane that one level transforms.
struct Block {
  double* plane;
  size_t pitch, width, height;

  double* Row(size_t y) const { return plane + y * pitch; }
};

using Lift = void (*)(const double*, double*, size_t);

void LiftRows(const Block& block, Lift lift, double* line) {
  for (size_t y = 0; y < block.height; ++y) {
    lift(block.Row(y), line, block.width);
    std::memcpy(block.Row(y), line, block.width * sizeof(double));
  }
}

void LiftColumns(const Block& block, Lift lift, double* group, double* line) {
  for (size_t left = 0; left < block.width; left += kGroup) {
    const size_t columns = std::min(kGroup, block.width - left);
    for (size_t y = 0; y < block.height; ++y) {
      for (size_t x = 0; x < columns; ++x) group[x * block.height + y] = block.Row(y)[left + x];
    }
    for (size_t x = 0; x < columns; ++x) {
      lift(group + x * block.height, line, block.height);
      std::memcpy(group + x * block.height, line, block.height * sizeof(double));
    }
    for (size_t y = 0; y < block.height; ++y) {
      for (size_t x = 0; x < columns; ++x) block.Row(y)[left + x] = group[x * block.height + y];
    }
  }
}

void ShrinkQuadrant(const Block& block, bool right, bool lower, int32_t strength, int32_t mode) {
  const size_t width = block.width / 2, height = block.height / 2;
  const size_t left = right ? width : 0, top = lower ? height : 0;
  uint64_t counts[kDetailEntries] = {};
  for (size_t y = top; y < top + height; ++y) CountMagnitudes(block.Row(y) + left, width, counts);
  uint8_t curve[kDetailEntries];
  BuildDetailCurve(counts, static_cast<uint64_t>(width) * height, strength, mode, curve);
  for (size_t y = top; y < top + height; ++y) ApplyDetailCurve(block.Row(y) + left, width, curve);
}

size_t ClampedOffset(const Geometry& geometry, size_t at) {
  return std::min(at, geometry.SampleCount() - 1);
}

void StoreChannelPlane(const double* plane, size_t pitch, const Geometry& geometry, int32_t offset,
                       uint8_t* destination) {
  for (int32_t y = 0; y < geometry.height; ++y) {
    size_t at = geometry.RowOffset(y) + offset;
    for (int32_t x = 0; x < geometry.width; ++x, at += geometry.channels) {
      const double value = plane[y * pitch + x];
      // Clamped before the conversion, which truncates.
      if (at < geometry.SampleCount()) {
        destination[at] = static_cast<uint8_t>(value < 0.0 ? 0.0 : value > 255.0 ? 255.0 : value);
      }
    }
  }
}

}  // namespace

int32_t DenoiseStrength(uint32_t setting) {
  if (setting > INT32_MAX) return -1;
  return static_cast<int32_t>(setting <= 50 ? 2 * setting : std::min<uint32_t>(setting + 50, INT32_MAX));
}

int32_t DetailLevels(int32_t width, int32_t height, int32_t strength) {
  const int32_t quarter = std::min(width, height) >> 2;
  int32_t levels = 0;
  while (levels < kMostLevels && (2 << levels) <= quarter) ++levels;
  int32_t limit = 0;
  while (limit < levels && strength >= (2 << limit)) ++limit;
  return limit;
}

int64_t PaddedSize(int32_t size, int32_t levels) {
  const int64_t step = int64_t{1} << levels;
  return (size + step - 1) / step * step;
}

void LoadChannelPlane(const uint8_t* source, const Geometry& geometry, int32_t offset, double* plane,
                      size_t paddedWidth, size_t paddedHeight) {
  const size_t width = static_cast<size_t>(geometry.width);
  for (size_t y = 0; y < paddedHeight; ++y) {
    const size_t row = geometry.RowOffset(static_cast<int32_t>(std::min<size_t>(y, geometry.height - 1))) + offset;
    for (size_t x = 0; x < paddedWidth; ++x) {
      *plane++ = source[ClampedOffset(geometry, row + std::min(x, width - 1) * geometry.channels)];
    }
  }
}

void CountMagnitudes(const double* values, size_t count, uint64_t counts[kDetailEntries]) {
  for (size_t i = 0; i < count; ++i) ++counts[static_cast<int32_t>(std::min(std::fabs(values[i]) + 0.5, 255.0))];
}

void BuildDetailCurve(const uint64_t counts[kDetailEntries], uint64_t area, int32_t strength, int32_t mode,
                      uint8_t curve[kDetailEntries]) {
  for (int32_t k = 0; k < kDetailEntries; ++k) curve[k] = static_cast<uint8_t>(k);
  if (strength <= 0) return;
  const uint64_t cut = area < 2048 ? 1 : area >> 11;
  int32_t largest = 255;
  for (uint64_t total = counts[255]; total <= cut && largest > 0;) total += counts[--largest];
  const int32_t knee = mode == 1 ? largest >> 2 : mode == 4 ? (3 * largest) >> 2 : largest >> 1;
  if (knee == 0) return;

  const int64_t pull = static_cast<int64_t>(knee) * strength;
  const int64_t lowered = strength <= 100 ? knee - pull / 200 : ((3 * knee) >> 2) - pull / 400;
  const int32_t third = mode == 1 ? largest >> 1 : mode == 4 ? (7 * largest) >> 3 : (3 * largest) >> 2;
  const int32_t fourth = mode == 1 ? (3 * largest) >> 2 : largest;
  CurvePoint points[5] = {{0, 0},
                          {knee, static_cast<int32_t>(std::max<int64_t>(lowered, 0))},
                          {std::min(third, 254), std::min(third, 254)},
                          {std::min(fourth, 254), std::min(fourth, 254)},
                          {255, 255}};
  // Small magnitudes make points meet; they move apart in x alone.
  if (points[1].x == points[2].x) points[2].x = points[1].x + 1;
  if (points[3].x == points[2].x) points[3].x = points[2].x + 1;
  if (points[3].x == 255) points[3].x = 254;
  BuildCurveLut(curve, points, 5);
}

void ApplyDetailCurve(double* values, size_t count, const uint8_t curve[kDetailEntries]) {
  for (size_t i = 0; i < count; ++i) {
    const double rounded = std::fabs(values[i]) + 0.5;
    if (rounded < kDetailEntries) values[i] = std::copysign(curve[static_cast<int32_t>(rounded)], values[i]);
  }
}

bool DenoiseImage(const ImageDesc* source, const ImageDesc* destination, int32_t strength) {
  if (!SameImageLayout(source, destination)) return false;
  return WaveletDenoisePlanes(source->data, destination->data, GeometryOf(*source), strength);
}

bool WaveletDenoisePlanes(const uint8_t* source, uint8_t* destination, const Geometry& geometry, int32_t strength) {
  if (source == nullptr || destination == nullptr || !geometry.DescribesMemory()) return false;
  if (geometry.bits != 8 || strength < 0) return false;
  const int32_t levels = DetailLevels(geometry.width, geometry.height, strength);
  const uint64_t columns = PaddedSize(geometry.width, levels), rows = PaddedSize(geometry.height, levels);
  if (columns * rows > PTRDIFF_MAX / sizeof(double)) return false;
  const size_t width = static_cast<size_t>(columns), height = static_cast<size_t>(rows);
  const size_t line = std::max(width, height);
  Scratch<double> plane(width * height), group(line * kGroup), scratch(line);
  if (!plane || !group || !scratch) return false;

  const auto block = [&](int32_t level) { return Block{plane.data(), width, width >> level, height >> level}; };
  for (int32_t offset = 0; offset < 3; ++offset) {
    LoadChannelPlane(source, geometry, offset, plane.data(), width, height);
    for (int32_t level = 0; level < levels; ++level) {
      LiftRows(block(level), LiftForward97, scratch.data());
      LiftColumns(block(level), LiftForward97, group.data(), scratch.data());
      ShrinkQuadrant(block(level), true, false, strength >> level, 1);
      ShrinkQuadrant(block(level), false, true, strength >> level, 1);
      ShrinkQuadrant(block(level), true, true, strength >> level, 2);
    }
    for (int32_t level = levels - 1; level >= 0; --level) {
      LiftColumns(block(level), LiftInverse97, group.data(), scratch.data());
      LiftRows(block(level), LiftInverse97, scratch.data());
    }
    StoreChannelPlane(plane.data(), width, geometry, offset, destination);
  }
  return true;
}

}  // namespace zel
