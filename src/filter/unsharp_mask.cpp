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
template <class T>
Push PushOf(int32_t amount, uint32_t threshold) {
  constexpr double kMost = sizeof(T) == 1 ? kMaxByteGain : kMaxWordGain;
  const double gain = amount * (sizeof(T) == 1 ? 1.28 : 327.68) + 0.5;
  return {static_cast<int32_t>(std::min(std::max(gain, -kMost), kMost)),
          static_cast<int32_t>(std::min(threshold, 255u)) * kLevelStep<T>};
}

auto PushRowOf(const UnsharpKernels& kernels, const uint8_t*) {
  return kernels.PushBytes;
}
auto PushRowOf(const UnsharpKernels& kernels, const uint16_t*) {
  return kernels.PushWords;
}

template <class T>
bool Process(const Source<T>& source, const View<T>& destination, const ZelRect* rect, const Push& push, double sigma) {
  if (source.channels != 1 && source.channels != 3) return false;
  const Region region = ClampedRegion(rect, source.Whole());
  BlurWeights weights;
  if (!MakeBlurWeights(sigma, &weights)) {  // nothing differs from its blurred value
    if (rect == nullptr) {
      CopySamples(source, destination);
    } else {
      CopyRegion(source, destination, region);
    }
    return true;
  }
  if (region.IsEmpty()) return true;
  BlurredRows<T> rows;
  if (!rows.Start(source, region, weights)) return false;
  const auto pushRow = PushRowOf(ActiveKernels().unsharp, source.data);
  T blurred[2][kBlurTile];
  while (const int32_t ready = rows.NextBlock()) {
    for (size_t first = 0; first < rows.RowSamples(); first += kBlurTile) {
      const size_t count = std::min(kBlurTile, rows.RowSamples() - first);
      for (int32_t top = 0; top < ready; top += 2) {
        const int32_t end = std::min(top + 2, ready);
        for (int32_t ahead = end; ahead < std::min(end + 2, ready); ++ahead) {
          AskFor(source.data + rows.Offset(ahead) + first, count);
          AskFor(destination.data + rows.Offset(ahead) + first, count);
        }
        rows.Sum(top, first, count, blurred[0], top + 1 < end ? blurred[1] : nullptr);
        for (int32_t i = top; i < end; ++i) {
          const size_t offset = rows.Offset(i) + first;
          pushRow(source.data + offset, blurred[i - top], destination.data + offset, count, push.gain, push.threshold);
        }
      }
    }
  }
  return true;
}

}  // namespace

bool UnsharpMask(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount,
                 float radius, uint32_t threshold) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return UnsharpMaskRaw(in, out, rect, amount, radius, threshold);
  });
}

template <class T>
bool UnsharpMaskRaw(const Source<T>& source, const View<T>& destination, const ZelRect* rect, int32_t amount,
                    float radius, uint32_t threshold) {
  const double sigma = std::min(std::max(static_cast<double>(radius), 0.1), 10.0);
  const bool done = Process(source, destination, rect, PushOf<T>(amount, threshold), sigma);
  if (!done) CopySamples(source, destination);
  return done;
}

template bool UnsharpMaskRaw(const Source<uint8_t>&, const View<uint8_t>&, const ZelRect*, int32_t, float, uint32_t);
template bool UnsharpMaskRaw(const Source<uint16_t>&, const View<uint16_t>&, const ZelRect*, int32_t, float, uint32_t);

}  // namespace zel
