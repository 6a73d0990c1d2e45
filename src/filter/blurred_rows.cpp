#include "filter/blurred_rows.h"

#include <algorithm>

#include "core/cache.h"

namespace zel {

namespace {

auto SumOf(const BlurKernels& kernels, const uint8_t*) {
  return kernels.SumBytes;
}
auto SumOf(const BlurKernels& kernels, const uint16_t*) {
  return kernels.SumWords;
}

}  // namespace

template <class T>
bool BlurredRows<T>::Start(const View<const T>& source, const Region& region, const BlurWeights& weights,
                           const RowChange* change) {
  source_ = source;
  change_ = change;
  sum_ = SumOf(ActiveKernels().blur, source.data);
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
  if (!line_.Allocate(rowSamples_ + static_cast<size_t>(2 * weights.reach) * source.channels)) return false;
  for (int32_t k = 0; k <= 2 * weights.reach; ++k) shifted_[k] = line_.data() + k * source.channels;
  return true;
}

template <class T>
int32_t BlurredRows<T>::NextBlock() {
  blockTop_ += blockRows_;
  blockRows_ = std::min(kMaxBlockRows, region_.bottom - blockTop_);
  const int32_t below = std::min(weights_.reach, source_.height - (blockTop_ + blockRows_));
  while (filteredEnd_ < blockTop_ + blockRows_ + below) FilterRow(filteredEnd_++);
  for (int32_t k = 0; k < blockRows_ + 2 * weights_.reach; ++k) {
    const int64_t y = static_cast<int64_t>(blockTop_) - weights_.reach + k;
    rows_[k] = Row(static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(y, 0), source_.height - 1)));
  }
  return blockRows_;
}

template <class T>
void BlurredRows<T>::FilterRow(int32_t y) {
  const int32_t channels = source_.channels, reach = weights_.reach;
  T* const out = Row(y);
  if (change_ != nullptr || region_.Width() <= 2 * reach) return FilterPart(y, region_.left, region_.right, out);

  // Only what looks beyond the image is padded in the line; the rest reads the source itself.
  const int32_t left = std::max(region_.left, reach), right = std::min(region_.right, source_.width - reach);
  const auto at = [&](int32_t x) { return out + static_cast<size_t>(x - region_.left) * channels; };
  if (left > region_.left) FilterPart(y, region_.left, left, out);
  if (right < region_.right) FilterPart(y, right, region_.right, at(right));
  const T* taps[2 * kMaxBlurReach + 1];
  const T* const first = source_.At(left - reach, y);
  for (int32_t k = 0; k <= 2 * reach; ++k) taps[k] = first + k * channels;
  const size_t count = static_cast<size_t>(right - left) * channels;
  const T* const below = source_.At(left, std::min(y + 1, source_.height - 1));
  for (size_t done = 0; done < count; done += kBlurTile) {
    const size_t tile = std::min(kBlurTile, count - done);
    AskFor(below + done, tile);
    sum_(taps, done, weights_, at(left) + done, tile);
  }
}

template <class T>
void BlurredRows<T>::FilterPart(int32_t y, int32_t left, int32_t right, T* out) {
  const int32_t channels = source_.channels, reach = weights_.reach;
  // How far the image goes on beside the columns.
  const int32_t before = std::min(reach, left), behind = std::min(reach, source_.width - right);
  T* const first = line_.data() + static_cast<size_t>(reach - before) * channels;
  T* const end = std::copy(source_.At(left - before, y), source_.At(right + behind, y), first);
  if (change_ != nullptr) change_->Change(y, left - before, first, right - left + before + behind);
  for (T* i = first; i > line_.data(); i -= channels) std::copy(first, first + channels, i - channels);
  T* last = end;
  for (int32_t i = behind; i < reach; ++i) last = std::copy(end - channels, end, last);
  sum_(shifted_, 0, weights_, out, static_cast<size_t>(right - left) * channels);
}

template class BlurredRows<uint8_t>;
template class BlurredRows<uint16_t>;

}  // namespace zel
