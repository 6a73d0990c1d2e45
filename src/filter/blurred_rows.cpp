#include "filter/blurred_rows.h"

#include <algorithm>

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
bool BlurredRows<T>::Start(const T* source, const Geometry& geometry, const Region& region, const BlurWeights& weights,
                           const RowChange* change) {
  source_ = source;
  change_ = change;
  geometry_ = geometry;
  region_ = region;
  weights_ = weights;
  rowSamples_ = static_cast<size_t>(region.Width()) * geometry.channels;
  blockTop_ = region.top;
  blockRows_ = 0;
  ringRows_ = std::min(2 * weights.reach + kMaxBlockRows, geometry.height);
  filteredEnd_ = std::max(region.top - weights.reach, 0);
  if (!ring_.Allocate(rowSamples_ * ringRows_)) return false;
  if (!line_.Allocate(rowSamples_ + static_cast<size_t>(2 * weights.reach) * geometry.channels)) return false;
  for (int32_t k = 0; k <= 2 * weights.reach; ++k) shifted_[k] = line_.data() + k * geometry.channels;
  return true;
}

template <class T>
int32_t BlurredRows<T>::NextBlock() {
  blockTop_ += blockRows_;
  blockRows_ = std::min(kMaxBlockRows, region_.bottom - blockTop_);
  const int32_t below = std::min(weights_.reach, geometry_.height - (blockTop_ + blockRows_));
  while (filteredEnd_ < blockTop_ + blockRows_ + below) FilterRow(filteredEnd_++);
  for (int32_t k = 0; k < blockRows_ + 2 * weights_.reach; ++k) {
    const int64_t y = static_cast<int64_t>(blockTop_) - weights_.reach + k;
    rows_[k] = Row(static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(y, 0), geometry_.height - 1)));
  }
  return blockRows_;
}

template <class T>
void BlurredRows<T>::FilterRow(int32_t y) {
  const int32_t channels = geometry_.channels, reach = weights_.reach;
  const T* const row = source_ + geometry_.RowOffset(y);
  // How far the image goes on beside the region.
  const int32_t before = std::min(reach, region_.left), behind = std::min(reach, geometry_.width - region_.right);
  T* const first = line_.data() + static_cast<size_t>(reach - before) * channels;
  T* const end = std::copy(row + static_cast<size_t>(region_.left - before) * channels,
                           row + static_cast<size_t>(region_.right + behind) * channels, first);
  if (change_ != nullptr) change_->Change(y, region_.left - before, first, region_.Width() + before + behind);
  for (T* out = first; out > line_.data(); out -= channels) std::copy(first, first + channels, out - channels);
  T* out = end;
  for (int32_t i = behind; i < reach; ++i) out = std::copy(end - channels, end, out);

  SumOf(ActiveKernels().blur, source_)(shifted_, 0, weights_, Row(y), rowSamples_);
}

template <class T>
void BlurredRows<T>::Sum(int32_t i, size_t first, size_t count, T* out) const {
  SumOf(ActiveKernels().blur, source_)(rows_ + i, first, weights_, out, count);
}

template class BlurredRows<uint8_t>;
template class BlurredRows<uint16_t>;

}  // namespace zel
