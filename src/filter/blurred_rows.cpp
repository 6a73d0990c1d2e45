#include "filter/blurred_rows.h"

#include <algorithm>

namespace zel {

namespace {

// Rows of a block: enough to pay for loading a tile of the ring, few enough to keep the ring small.
constexpr int32_t kBlockRows = 16;

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
  ringRows_ = std::min(2 * weights.reach + kBlockRows, geometry.height);
  filteredEnd_ = std::max(region.top - weights.reach, 0);
  return ring_.Allocate(rowSamples_ * ringRows_) &&
         line_.Allocate(rowSamples_ + static_cast<size_t>(2 * weights.reach) * geometry.channels);
}

template <class T>
int32_t BlurredRows<T>::NextBlock() {
  blockTop_ += blockRows_;
  blockRows_ = std::min(kBlockRows, region_.bottom - blockTop_);
  const int32_t below = std::min(weights_.reach, geometry_.height - (blockTop_ + blockRows_));
  while (filteredEnd_ < blockTop_ + blockRows_ + below) FilterRow(filteredEnd_++);
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

  const T* taps[2 * kMaxBlurReach + 1];
  for (int32_t k = 0; k <= 2 * reach; ++k) taps[k] = line_.data() + k * channels;
  SumOf(ActiveKernels().blur, source_)(taps, weights_, Row(y), rowSamples_);
}

template <class T>
void BlurredRows<T>::Sum(int32_t i, size_t first, size_t count, T* out) const {
  const T* taps[2 * kMaxBlurReach + 1];
  const int64_t top = static_cast<int64_t>(blockTop_) + i - weights_.reach;
  for (int32_t k = 0; k <= 2 * weights_.reach; ++k) {
    taps[k] = Row(static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(top + k, 0), geometry_.height - 1))) + first;
  }
  SumOf(ActiveKernels().blur, source_)(taps, weights_, out, count);
}

template class BlurredRows<uint8_t>;
template class BlurredRows<uint16_t>;

}  // namespace zel
