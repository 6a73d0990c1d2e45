#include "filter/sharpen.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/scratch.h"
#include "simd/kernels.h"

namespace zel {

namespace {

constexpr int32_t kMaxFoldedDivisor = 256;
// Weights of this total keep sums of bytes inside 32 bits.
constexpr int64_t kMaxNarrowTotal = INT32_MAX / 255;

struct Weights {
  int64_t values[9];  // in 1024ths when the divisor is folded in
  int32_t divisor;    // 0 when folded in

  Weights(const int32_t kernel[9], int32_t givenDivisor)
      : divisor(givenDivisor > kMaxFoldedDivisor ? givenDivisor : 0) {
    for (int32_t k = 0; k < 9; ++k) {
      values[k] = divisor != 0 ? int64_t{kernel[k]} : int64_t{kernel[k]} * 1024 / givenDivisor;
    }
  }

  bool AreNarrow() const {
    int64_t total = 0;
    for (const int64_t value : values) total += std::abs(value);
    return divisor == 0 && total <= kMaxNarrowTotal;
  }
};

// The row kernel's formula for any weights and divisors.
void ConvolveWide(const uint8_t* const rows[3], size_t step, const Weights& weights, uint8_t* out, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    int64_t sum = 0;
    for (size_t k = 0; k < 9; ++k) sum += weights.values[k] * rows[k / 3][i + k % 3 * step];
    sum = weights.divisor != 0 ? sum / weights.divisor : sum >> 10;
    out[i] = static_cast<uint8_t>(std::min<int64_t>(std::max<int64_t>(sum, 0), 255));
  }
}

// The rectangle in any order, grown by one and cut to the image.
Region TouchedRegion(const ZelRect* rect, int32_t width, int32_t height) {
  if (rect == nullptr) return {0, 0, width, height};
  const auto from = [](int64_t a, int64_t b, int32_t size) {
    return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(std::min(a, b) - 1, 0), size));
  };
  const auto to = [](int64_t a, int64_t b, int32_t size) {
    return static_cast<int32_t>(std::max<int64_t>(std::min<int64_t>(std::max(a, b) + 1, size), 0));
  };
  return {from(rect->left, rect->right, width), from(rect->top, rect->bottom, height),
          to(rect->left, rect->right, width), to(rect->top, rect->bottom, height)};
}

// The region's part of a source row, with the pixel before and behind it.
void CopyLine(const uint8_t* row, const Region& region, const Geometry& geometry, uint8_t* line) {
  const size_t channels = geometry.channels, pixels = region.Width();
  const uint8_t* const first = row + region.left * channels;
  std::memcpy(line + channels, first, pixels * channels);
  std::memcpy(line, region.left > 0 ? first - channels : first, channels);
  const uint8_t* const last = first + (pixels - 1) * channels;
  std::memcpy(line + (pixels + 1) * channels, region.right < geometry.width ? last + channels : last, channels);
}

}  // namespace

bool Convolve3x3(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const int32_t kernel[9],
                 int32_t divisor) {
  if (!IsUsable(source) || !IsUsable(destination) || !SameImageGeometry(*source, *destination)) return false;
  const Geometry geometry = GeometryOf(*source), target = GeometryOf(*destination);
  if ((geometry.channels != 1 && geometry.channels != 3) || geometry.bits != 8 || divisor < 1) return false;
  const Region region = TouchedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return true;

  const size_t channels = geometry.channels, count = region.Width() * channels, lineBytes = count + 2 * channels;
  Scratch<uint8_t> lines(3 * lineBytes);
  if (!lines) return false;
  const Weights weights(kernel, divisor);
  const bool narrow = weights.AreNarrow();
  int32_t narrowWeights[9];
  std::copy(weights.values, weights.values + 9, narrowWeights);

  // The lines hold source rows that may already be overwritten; row y lies in line y % 3, a repeated edge row twice.
  const auto line = [&](int32_t y) { return lines.data() + y % 3 * lineBytes; };
  const auto load = [&](int32_t y) { CopyLine(source->data + geometry.RowOffset(y), region, geometry, line(y)); };
  for (int32_t y = std::max(region.top - 1, 0); y <= region.top; ++y) load(y);
  for (int32_t y = region.top; y < region.bottom; ++y) {
    const int32_t above = std::max(y - 1, 0), below = std::min(y, geometry.height - 2) + 1;
    if (below > y) load(below);
    const uint8_t* const rows[3] = {line(above), line(y), line(below)};
    uint8_t* const out = destination->data + target.RowOffset(y) + region.left * channels;
    if (narrow) {
      ActiveKernels().convolve.Convolve3x3(rows, channels, narrowWeights, out, count);
    } else {
      ConvolveWide(rows, channels, weights, out, count);
    }
  }
  return true;
}

bool Sharpen(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount) {
  const int32_t a = std::min(std::max(amount, -1000000000), 1000000000);
  const int32_t side = -(a / 2);
  const int32_t kernel[9] = {0, side, 0, side, 100 + 2 * a, side, 0, side, 0};
  return Convolve3x3(source, destination, rect, kernel, 100);
}

}  // namespace zel
