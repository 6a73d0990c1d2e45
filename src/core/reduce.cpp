#include "core/reduce.h"

#include <algorithm>
#include <cstring>

#include "core/cache.h"

namespace zel {

namespace {

int32_t CeilingQuotient(int32_t a, int32_t b) {
  return a / b + (a % b != 0 ? 1 : 0);
}

// Copies `count` pixels of a row that lie `distance` bytes apart, and asks for those `toNext` bytes further.
template <size_t kBytes>
uint8_t* CopyPixels(const uint8_t* pixel, int32_t count, size_t distance, size_t toNext, uint8_t* out) {
  for (int32_t x = 0; x < count; ++x, pixel += distance, out += kBytes) {
    AskFor(pixel + toNext, 1);
    std::memcpy(out, pixel, kBytes);
  }
  return out;
}

}  // namespace

bool PointSample(const void* source, const Geometry& geometry, const ZelRect* rect, int32_t limit, SampledCopy* copy) {
  if (source == nullptr || !geometry.DescribesMemory()) return false;
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return false;
  const int32_t step = std::max(CeilingQuotient(region.Width(), limit), CeilingQuotient(region.Height(), limit));

  Geometry& reduced = copy->geometry;
  reduced = geometry;
  reduced.width = CeilingQuotient(region.Width(), step);
  reduced.height = CeilingQuotient(region.Height(), step);
  reduced.stride = reduced.width * reduced.channels;
  if (!copy->pixels.Allocate(reduced.ByteCount())) return false;

  const size_t pixelBytes = static_cast<size_t>(geometry.channels) * geometry.bits / 8;
  const uint8_t* const bytes = static_cast<const uint8_t*>(source);
  uint8_t* out = copy->pixels.data();
  for (int32_t y = 0; y < reduced.height; ++y) {
    const uint8_t* pixel = bytes + geometry.RowOffset(region.top + y * step) * (geometry.bits / 8) +
                           static_cast<size_t>(region.left) * pixelBytes;
    if (step == 1) {
      std::memcpy(out, pixel, reduced.width * pixelBytes);
      out += reduced.width * pixelBytes;
      continue;
    }
    // Rows that are skipped on the way to the next one keep the processor from seeing it coming.
    const size_t toNext = y + 1 < reduced.height ? geometry.RowOffset(step) * (geometry.bits / 8) : 0;
    const size_t distance = step * pixelBytes;
    switch (pixelBytes) {
      case 3:
        out = CopyPixels<3>(pixel, reduced.width, distance, toNext, out);
        break;
      case 6:
        out = CopyPixels<6>(pixel, reduced.width, distance, toNext, out);
        break;
      default:
        for (int32_t x = 0; x < reduced.width; ++x, pixel += distance) {
          AskFor(pixel + toNext, 1);
          out = std::copy_n(pixel, pixelBytes, out);
        }
    }
  }
  return true;
}

void BringTo8Bits(SampledCopy* copy) {
  if (copy->geometry.bits == 8) return;
  uint8_t* const bytes = copy->pixels.data();
  const size_t count = copy->geometry.SampleCount();
  for (size_t i = 0; i < count; ++i) {
    uint16_t word;
    std::memcpy(&word, bytes + 2 * i, sizeof word);
    bytes[i] = static_cast<uint8_t>((word + 128) / 257);
  }
  copy->geometry.bits = 8;
}

}  // namespace zel
