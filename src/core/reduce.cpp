#include "core/reduce.h"

#include <algorithm>

#include "core/cache.h"

namespace zel {

namespace {

int32_t CeilingQuotient(int32_t a, int32_t b) {
  return a / b + (a % b != 0 ? 1 : 0);
}

template <class T, class C>
C Converted(T sample) {
  return sizeof(C) < sizeof(T) ? static_cast<C>((sample + 128) / 257) : static_cast<C>(sample);
}

// Copies `count` pixels of a row that lie `distance` samples apart, and asks for those `toNext` samples further.
template <int32_t kChannels, class T, class C>
C* CopyPixels(const T* pixel, int32_t count, int32_t channels, size_t distance, size_t toNext, C* out) {
  if (kChannels != 0) channels = kChannels;
  for (int32_t x = 0; x < count; ++x, pixel += distance) {
    AskFor(pixel + toNext, 1);
    for (int32_t k = 0; k < channels; ++k) *out++ = Converted<T, C>(pixel[k]);
  }
  return out;
}

}  // namespace

template <class T, class C>
bool PointSample(const View<const T>& source, const Region& region, int32_t limit, SampledCopy<C>* copy) {
  if (region.IsEmpty()) return false;
  const int32_t step = std::max(CeilingQuotient(region.Width(), limit), CeilingQuotient(region.Height(), limit));
  View<C>& reduced = copy->view;
  reduced = PackedView<C>(nullptr, CeilingQuotient(region.Width(), step), CeilingQuotient(region.Height(), step),
                          source.channels, source.blueFirst);
  if (!copy->samples.Allocate(reduced.SampleCount())) return false;
  C* out = reduced.data = copy->samples.data();

  const size_t distance = static_cast<size_t>(step) * source.channels;
  for (int32_t y = 0; y < reduced.height; ++y) {
    const T* const row = source.At(region.left, region.top + y * step);
    // Rows that are skipped on the way to the next one keep the processor from seeing it coming.
    const size_t toNext = step > 1 && y + 1 < reduced.height ? source.RowOffset(step) : 0;
    if (step == 1 && sizeof(C) == sizeof(T)) {
      std::memcpy(out, row, distance * reduced.width * sizeof(T));
      out += distance * reduced.width;
      continue;
    }
    out = source.channels == 3 ? CopyPixels<3>(row, reduced.width, 3, distance, toNext, out)
                               : CopyPixels<0>(row, reduced.width, source.channels, distance, toNext, out);
  }
  return true;
}

template bool PointSample(const View<const uint8_t>&, const Region&, int32_t, SampledCopy<uint8_t>*);
template bool PointSample(const View<const uint16_t>&, const Region&, int32_t, SampledCopy<uint8_t>*);
template bool PointSample(const View<const uint16_t>&, const Region&, int32_t, SampledCopy<uint16_t>*);

}  // namespace zel
