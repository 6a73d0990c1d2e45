#include "filter/unsharp_mask.h"

#include <algorithm>

#include "core/cache.h"
#include "filter/blurred_rows.h"
#include "filter/gaussian_blur.h"

namespace zel {

namespace {

struct Push {
  int32_t gain;       // in 128ths
  int32_t threshold;  // in levels of the depth
};

// The gain is cut where one level of difference already saturates; the row kernels count on these limits.
Push PushOf(int32_t amount, uint32_t threshold, int32_t bits) {
  const double most = bits == 8 ? kMaxByteGain : kMaxWordGain;
  const double gain = amount * (bits == 8 ? 1.28 : 327.68) + 0.5;
  return {static_cast<int32_t>(std::min(std::max(gain, -most), most)),
          static_cast<int32_t>(std::min(threshold, 255u)) * (bits == 8 ? 1 : 257)};
}

void PushRow(const uint8_t* in, const uint8_t* blurred, uint8_t* out, size_t count, const Push& push) {
  ActiveKernels().unsharp.PushBytes(in, blurred, out, count, push.gain, push.threshold);
}
void PushRow(const uint16_t* in, const uint16_t* blurred, uint16_t* out, size_t count, const Push& push) {
  ActiveKernels().unsharp.PushWords(in, blurred, out, count, push.gain, push.threshold);
}

template <class T>
bool Unsharp(const T* source, T* destination, const Geometry& geometry, const Region& region,
             const BlurWeights& weights, const Push& push) {
  BlurredRows<T> rows;
  if (!rows.Start(source, geometry, region, weights)) return false;
  T blurred[kBlurTile];
  while (const int32_t ready = rows.NextBlock()) {
    for (size_t first = 0; first < rows.RowSamples(); first += kBlurTile) {
      const size_t count = std::min(kBlurTile, rows.RowSamples() - first);
      for (int32_t i = 0; i < ready; ++i) {
        const size_t offset = rows.Offset(i) + first, next = rows.Offset(i + 1 < ready ? i + 1 : i) + first;
        AskFor(source + next, count);
        AskFor(destination + next, count);
        rows.Sum(i, first, count, blurred);
        PushRow(source + offset, blurred, destination + offset, count, push);
      }
    }
  }
  return true;
}

bool Process(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect, const Push& push,
             double sigma) {
  if ((geometry.channels != 1 && geometry.channels != 3) || !geometry.DescribesMemory()) return false;
  BlurWeights weights;
  if (!MakeBlurWeights(sigma, &weights)) {  // nothing differs from its blurred value
    if (rect == nullptr) {
      CopySamples(source, destination, geometry);
    } else {
      CopyImageRect(Describe(destination, geometry), Describe(source, geometry), rect);
    }
    return true;
  }
  const Region region = ClampedRegion(rect, geometry.width, geometry.height);
  if (region.IsEmpty()) return true;
  return geometry.bits == 8 ? Unsharp(static_cast<const uint8_t*>(source), static_cast<uint8_t*>(destination), geometry,
                                      region, weights, push)
                            : Unsharp(static_cast<const uint16_t*>(source), static_cast<uint16_t*>(destination),
                                      geometry, region, weights, push);
}

}  // namespace

bool UnsharpMask(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount,
                 float radius, uint32_t threshold) {
  if (!SameImageLayout(source, destination)) return false;
  return UnsharpMaskRaw(source->data, destination->data, GeometryOf(*source), rect, amount, radius, threshold);
}

bool UnsharpMaskRaw(const void* source, void* destination, const Geometry& geometry, const ZelRect* rect,
                    int32_t amount, float radius, uint32_t threshold) {
  if (source == nullptr || destination == nullptr) return false;
  const double sigma = std::min(std::max(static_cast<double>(radius), 0.1), 10.0);
  const bool done = Process(source, destination, geometry, rect, PushOf(amount, threshold, geometry.bits), sigma);
  if (!done && geometry.DescribesMemory()) CopySamples(source, destination, geometry);
  return done;
}

}  // namespace zel
