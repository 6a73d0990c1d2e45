#include "retouch/wavelet_strip.h"

#include <algorithm>
#include <cstring>

#include "core/cache.h"

namespace zel {

namespace {

// Details that a strip needs on either side for the inverse transform, and samples for those details, in pairs.
constexpr ptrdiff_t kMargin = kLiftMargin;
constexpr ptrdiff_t kReach = WaveletStrip::kReach;
constexpr ptrdiff_t kAhead = 6;  // rows from asking for one to reading it
constexpr ptrdiff_t kLine = WaveletStrip::kPairs + 2 * kReach + 8;
constexpr ptrdiff_t kRowLength = 2 * (WaveletStrip::kPairs + 2 * kMargin);

}  // namespace

size_t Channel::InMemory(size_t x, size_t y, size_t count) const {
  const size_t step = static_cast<size_t>(geometry.channels);
  const size_t first = geometry.RowOffset(static_cast<int32_t>(y)) + x * step + offset, total = geometry.SampleCount();
  return first < total ? std::min(count, (total - first + step - 1) / step) : 0;
}

bool WaveletStrip::Allocate() {
  kernels_ = &ActiveKernels().wavelet;
  constexpr size_t kRings = 2 * ColumnLift::kRows * kRowLength;
  if (!memory_.Allocate(2 * kLine + kRowLength + kRings + kCacheLine / sizeof(double))) return false;
  double* const memory = AtCacheLine(memory_.data());
  low_ = memory + kReach + 4;
  high_ = low_ + kLine;
  lastRow_ = memory + 2 * kLine;
  forwardRows_ = lastRow_ + kRowLength;
  inverseRows_ = forwardRows_ + ColumnLift::kRows * kRowLength;
  return true;
}

void WaveletStrip::Begin(const Layer& layer, ptrdiff_t left) {
  layer_ = &layer;
  left_ = left;
  pairs_ = std::min(kPairs, layer.width / 2 - left);
  wide_ = pairs_ + 2 * kMargin;
}

// The memory that row y of the strip lies in.
WaveletStrip::Span WaveletStrip::SpanOf(ptrdiff_t y) const {
  if (layer_->plane != nullptr) {
    return {reinterpret_cast<const char*>(layer_->plane + y * layer_->width + 2 * left_), 2 * pairs_ * sizeof(double)};
  }
  const Geometry& geometry = layer_->channel.geometry;
  const ptrdiff_t x = std::min<ptrdiff_t>(2 * left_, geometry.width - 1);
  const int32_t row = static_cast<int32_t>(std::min<ptrdiff_t>(y, geometry.height - 1));
  return {reinterpret_cast<const char*>(layer_->channel.source) + geometry.RowOffset(row) + x * geometry.channels,
          static_cast<size_t>(std::min<ptrdiff_t>(2 * pairs_, geometry.width - x) * geometry.channels)};
}

// Reads row y of the strip and kReach pairs on either side. The pairs on the left come from what the strip before it
// read, since it may have written over them.
void WaveletStrip::LoadRow(ptrdiff_t y) {
  const Layer& layer = *layer_;
  const ptrdiff_t first = 2 * left_, end = std::min(2 * (left_ + pairs_ + kReach), layer.width);
  const Span ahead = SpanOf(std::min(y + kAhead, layer.height - 1));
  AskFor(ahead.begin, ahead.bytes);
  double* const carry = layer.carried + y * kCarried;
  if (left_ > 0) {
    std::memcpy(low_ - kReach, carry, kReach * sizeof(double));
    std::memcpy(high_ - kReach, carry + kReach, kReach * sizeof(double));
  }

  if (layer.plane != nullptr) {
    kernels_->SplitDoubles(layer.plane + y * layer.width + first, low_, high_, static_cast<size_t>(end - first) / 2);
  } else {
    const Channel& channel = layer.channel;
    const ptrdiff_t inside = std::min<ptrdiff_t>(end, channel.geometry.width);
    const size_t step = static_cast<size_t>(channel.geometry.channels);
    ptrdiff_t x = first;
    if (inside > first) {
      const size_t count = channel.InMemory(first, y, inside - first);
      const uint8_t* const in = channel.source + channel.geometry.RowOffset(static_cast<int32_t>(y)) + channel.offset;
      kernels_->SplitBytes(in + first * step, step, low_, high_, count / 2);
      if (count % 2 != 0) low_[count / 2] = in[(first + count - 1) * step];
      for (x = first + count; x < inside; ++x) At(x) = channel.lastByte;
    }
    for (; x < end; ++x) At(x) = At(x - 1);
  }

  std::memcpy(carry, low_ + pairs_ - kReach, kReach * sizeof(double));
  std::memcpy(carry + kReach, high_ + pairs_ - kReach, kReach * sizeof(double));
  for (ptrdiff_t x = layer.width; x < first + 2 * (pairs_ + kReach); ++x) At(x) = At(Mirrored(x, layer.width));
  if (left_ == 0) {
    for (ptrdiff_t x = -2 * kReach; x < 0; ++x) At(x) = At(Mirrored(x, layer.width));
  }
}

void WaveletStrip::StoreRow(ptrdiff_t y, const double* row) {
  const Layer& layer = *layer_;
  LiftInverse97(*kernels_, row + kMargin, row + wide_ + kMargin, low_, high_, pairs_);
  const ptrdiff_t first = 2 * left_;
  if (layer.plane != nullptr) {
    kernels_->JoinDoubles(low_, high_, layer.plane + y * layer.width + first, pairs_);
    return;
  }
  const Channel& channel = layer.channel;
  const ptrdiff_t end = std::min<ptrdiff_t>(first + 2 * pairs_, channel.geometry.width);
  if (y >= channel.geometry.height || end <= first) return;
  const size_t step = static_cast<size_t>(channel.geometry.channels);
  const size_t count = channel.InMemory(first, y, end - first);
  uint8_t* const out =
      channel.destination + channel.geometry.RowOffset(static_cast<int32_t>(y)) + channel.offset + first * step;
  kernels_->JoinBytes(low_, high_, out, step, count / 2);
  if (count % 2 != 0) kernels_->JoinBytes(low_ + count / 2, low_ + count / 2, out + (count - 1) * step, 0, 1);
}

// Runs the forward transform down the strip and hands over every pair of rows, low-pass and high-pass, that are
// complete but for the columns' scale. Each holds its low-pass values and, wide_ further, its high-pass values, both
// from kMargin pairs left of the strip on.
template <class Consumer>
void WaveletStrip::Transform(const Consumer& consumer) {
  const ptrdiff_t height = layer_->height;
  // Rows below the image repeat its last one, which may be overwritten when their turn comes.
  const ptrdiff_t last = layer_->plane != nullptr ? height - 1 : layer_->channel.geometry.height - 1;
  const ColumnLift lift(*kernels_, kForwardSteps, forwardRows_, 2 * wide_, height);
  const auto load = [&](ptrdiff_t y) {
    if (y < 0 || y >= height) return;
    double* const row = lift.Row(y);
    if (y <= last) {
      LoadRow(y);
      LiftForward97(*kernels_, low_ - kMargin, high_ - kMargin, row, row + wide_, wide_);
      if (y == last) std::memcpy(lastRow_, row, 2 * wide_ * sizeof(double));
    } else {
      std::memcpy(row, lastRow_, 2 * wide_ * sizeof(double));
    }
  };
  for (ptrdiff_t y = 0; y < height + 4; y += 2) {
    load(y - 1);
    load(y);
    lift.Take(y);
    if (y >= 4) consumer((y - 4) / 2, lift.Row(y - 4), lift.Row(y - 3));
  }
}

void WaveletStrip::Measure(const Layer& layer, ptrdiff_t left, double* low, DetailCounts* counts) {
  Begin(layer, left);
  Transform([&](ptrdiff_t y, const double* lowRow, const double* highRow) {
    kernels_->ScaleDoubles(lowRow + kMargin, kForwardScales[0], low + y * (layer.width / 2) + left, pairs_);
    counts[kRight].Add(*kernels_, lowRow + wide_ + kMargin, kForwardScales[0], pairs_);
    counts[kBelow].Add(*kernels_, highRow + kMargin, kForwardScales[1], pairs_);
    counts[kDiagonal].Add(*kernels_, highRow + wide_ + kMargin, kForwardScales[1], pairs_);
  });
}

void WaveletStrip::Rebuild(const Layer& layer, ptrdiff_t left, const double* low, const DetailTables& tables) {
  Begin(layer, left);
  const ptrdiff_t half = layer.width / 2, height = layer.height;
  const ColumnLift back(*kernels_, kInverseSteps, inverseRows_, 2 * wide_, height);
  const auto take = [&](ptrdiff_t y) {
    back.Take(y);
    if (y >= 5 && y - 4 < height) StoreRow(y - 4, back.Row(y - 4));
    if (y >= 3 && y - 3 < height) StoreRow(y - 3, back.Row(y - 3));
  };
  Transform([&](ptrdiff_t y, const double* lowRow, const double* highRow) {
    double* const outLow = back.Row(2 * y);
    double* const outHigh = back.Row(2 * y + 1);
    // Low-pass values are mirrored about even samples: the one at either end of the row is not repeated on the left,
    // but is on the right.
    const double* const in = low + y * half;
    const double* const ahead = low + std::min<ptrdiff_t>(y + kAhead / 2, height / 2 - 1) * half + left;
    AskFor(ahead, static_cast<size_t>(pairs_));
    const ptrdiff_t begin = std::max<ptrdiff_t>(left - kMargin, 0), end = std::min(left + pairs_ + kMargin, half);
    double* const outLowLow = outLow + kMargin - left;
    kernels_->ScaleDoubles(in + begin, kInverseScales[0], outLowLow + begin, end - begin);
    for (ptrdiff_t x = left - kMargin; x < begin; ++x) outLowLow[x] = outLowLow[-x];
    for (ptrdiff_t x = end; x < left + pairs_ + kMargin; ++x) outLowLow[x] = outLowLow[2 * half - 1 - x];
    kernels_->ShrinkDetails(lowRow + wide_, kForwardScales[0], tables[kRight], kInverseScales[0], outLow + wide_,
                            wide_);
    kernels_->ShrinkDetails(highRow, kForwardScales[1], tables[kBelow], kInverseScales[1], outHigh, wide_);
    kernels_->ShrinkDetails(highRow + wide_, kForwardScales[1], tables[kDiagonal], kInverseScales[1], outHigh + wide_,
                            wide_);
    take(2 * y + 1);
  });
  take(height + 1);
  take(height + 3);
}

}  // namespace zel
