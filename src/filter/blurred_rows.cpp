#include "filter/blurred_rows.h"

#include <algorithm>

#include "core/cache.h"

namespace zel {

namespace {

constexpr int32_t kVector = 64;  // samples that the widest kernels take at a time

auto SumOf(const BlurKernels& kernels, const uint8_t*) {
  return kernels.SumBytes;
}
auto SumOf(const BlurKernels& kernels, const uint16_t*) {
  return kernels.SumWords;
}
auto SumAlongOf(const BlurKernels& kernels, const uint8_t*) {
  return kernels.SumBytesAlong;
}
auto SumAlongOf(const BlurKernels& kernels, const uint16_t*) {
  return kernels.SumWordsAlong;
}

}  // namespace

template <class T>
bool BlurredRows<T>::Start(const View<const T>& source, const Region& region, const BlurWeights& weights,
                           const Rows* changed) {
  source_ = source;
  changed_ = changed;
  sum_ = SumOf(ActiveKernels().blur, source.data);
  sumAlong_ = SumAlongOf(ActiveKernels().blur, source.data);
  region_ = region;
  weights_ = weights;
  rowSamples_ = static_cast<size_t>(region.Width()) * source.channels;
  blockTop_ = region.top;
  blockRows_ = 0;
  ringRows_ = std::min(2 * weights.reach + kMaxBlockRows, source.height);
  filteredEnd_ = std::max(region.top - weights.reach, 0);
  constexpr size_t kLine = kCacheLine / sizeof(T);
  stride_ = (rowSamples_ + kLine - 1) / kLine * kLine;
  if (!ring_.Allocate(stride_ * ringRows_ + kLine)) return false;
  rowsStart_ = AtCacheLine(ring_.data());
  return line_.Allocate(rowSamples_ + static_cast<size_t>(2 * weights.reach) * source.channels);
}

template <class T>
int32_t BlurredRows<T>::NextBlock() {
  blockTop_ += blockRows_;
  blockRows_ = std::min(kMaxBlockRows, region_.bottom - blockTop_);
  const int32_t below = std::min(weights_.reach, source_.height - (blockTop_ + blockRows_));
  while (filteredEnd_ < blockTop_ + blockRows_ + below) FilterRow(filteredEnd_++);
  const int32_t count = blockRows_ + 2 * weights_.reach;
  for (int32_t k = 0; k < count; ++k) {
    const int64_t y = static_cast<int64_t>(blockTop_) - weights_.reach + k;
    rows_[k] = Row(static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(y, 0), source_.height - 1)));
  }
  rows_[count] = rows_[count - 1];
  return blockRows_;
}

template <class T>
void BlurredRows<T>::FilterRow(int32_t y) {
  const int32_t channels = source_.channels, reach = weights_.reach;
  T* const out = Row(y);
  const int32_t part = std::max(reach, kVector / channels + 1);
  if (changed_ != nullptr || region_.Width() <= 4 * part) return FilterPart(y, region_.left, region_.right, out);

  // Only what looks beyond the image is padded in the line; the rest reads the source itself.
  const int32_t left = region_.left >= reach ? region_.left : region_.left + part;
  const int32_t right = source_.width - region_.right >= reach ? region_.right : region_.right - part;
  const auto at = [&](int32_t x) { return out + static_cast<size_t>(x - region_.left) * channels; };
  if (left > region_.left) FilterPart(y, region_.left, left, out);
  if (right < region_.right) FilterPart(y, right, region_.right, at(right));
  const T* const first = source_.At(left - reach, y);
  const size_t count = static_cast<size_t>(right - left) * channels;
  const T* const below = source_.At(left, std::min(y + 1, source_.height - 1));
  for (size_t done = 0; done < count; done += kBlurTile) {
    const size_t tile = std::min(kBlurTile, count - done);
    AskFor(below + done, tile);
    sumAlong_(first + done, channels, weights_, at(left) + done, tile);
  }
}

template <class T>
void BlurredRows<T>::FilterPart(int32_t y, int32_t left, int32_t right, T* out) {
  const int32_t channels = source_.channels, reach = weights_.reach;
  // How far the image goes on beside the columns.
  const int32_t before = std::min(reach, left), behind = std::min(reach, source_.width - right);
  const int32_t pixels = right - left + before + behind;
  T* const first = line_.data() + static_cast<size_t>(reach - before) * channels;
  T* const end = first + static_cast<size_t>(pixels) * channels;
  if (changed_ != nullptr) {
    changed_->Fill(y, left - before, first, pixels);
  } else {
    std::copy(source_.At(left - before, y), source_.At(right + behind, y), first);
  }
  for (T* i = first; i > line_.data(); i -= channels) std::copy(first, first + channels, i - channels);
  T* last = end;
  for (int32_t i = behind; i < reach; ++i) last = std::copy(end - channels, end, last);
  sumAlong_(line_.data(), channels, weights_, out, static_cast<size_t>(right - left) * channels);
}

template class BlurredRows<uint8_t>;
template class BlurredRows<uint16_t>;

}  // namespace zel
