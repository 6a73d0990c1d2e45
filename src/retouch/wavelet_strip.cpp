#include "retouch/wavelet_strip.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/cache.h"

namespace zel {

namespace {

// Details that a strip needs on either side for the inverse transform, and samples for those details, in pairs.
constexpr ptrdiff_t kMargin = kLiftMargin;
constexpr ptrdiff_t kReach = WaveletStrip::kReach;
constexpr ptrdiff_t kAhead = 6;  // rows from asking for one to reading it
constexpr ptrdiff_t kLine = (kStripPairs + kReach) / 8 * 8 + 24;
constexpr ptrdiff_t kLineDoubles = kCacheLine / sizeof(double);
// The low and the high half of a row start a line of the cache each, and rows are not a power of two apart, which the
// first-level cache would take for one place.
constexpr ptrdiff_t kRowLength = 2 * (kStripPairs + 2 * kMargin + kLineDoubles);
// Of the quadrants.
constexpr double kDetailScales[kQuadrants] = {kForwardScales[0], kForwardScales[1], kForwardScales[1]};
constexpr double kShrunkScales[kQuadrants] = {kInverseScales[0], kInverseScales[1], kInverseScales[1]};

void KeepLarge(const double* details, double scale, const int16_t* rounded, ptrdiff_t count, DetailStore& store) {
  for (ptrdiff_t i = 0; i < count && store.complete; ++i) {
    if (std::abs(rounded[i]) < kDetailEntries) continue;
    if (store.taken < store.room) {
      store.large[store.taken++] = details[i] * scale;
    } else {
      store.complete = false;
    }
  }
}

}  // namespace

uint64_t TiledPlane::Stride(uint64_t width) {
  return (std::min<uint64_t>(width, kStripPairs) + kLineDoubles - 1) / kLineDoubles * kLineDoubles;
}

size_t Channel::InMemory(size_t x, size_t y, size_t count) const {
  const size_t step = static_cast<size_t>(source.channels);
  const size_t first = source.RowOffset(static_cast<int32_t>(y)) + x * step + offset, total = source.SampleCount();
  return first < total ? std::min(count, (total - first + step - 1) / step) : 0;
}

size_t Channel::Ahead(ptrdiff_t y) const {
  return source.RowOffset(static_cast<int32_t>(std::min<ptrdiff_t>(y + kAhead, source.height - 1)));
}

bool WaveletStrip::Allocate() {
  kernels_ = &ActiveKernels().wavelet;
  constexpr size_t kRings = 2 * ColumnLift::kRows * kRowLength;
  if (!memory_.Allocate(2 * kLine + kRowLength + kRings + kCacheLine / sizeof(double))) return false;
  double* const memory = AtCacheLine(memory_.data());
  low_ = memory + 2 * kLineDoubles;
  high_ = low_ + kLine;
  lastRow_ = memory + 2 * kLine;
  forwardRows_ = lastRow_ + kRowLength;
  inverseRows_ = forwardRows_ + ColumnLift::kRows * kRowLength;
  return true;
}

void WaveletStrip::Begin(const Layer& layer, ptrdiff_t left) {
  layer_ = &layer;
  left_ = left;
  pairs_ = std::min(kStripPairs, layer.width / 2 - left);
  wide_ = pairs_ + 2 * kMargin;
  half_ = (wide_ + kLineDoubles - 1) / kLineDoubles * kLineDoubles;
}

// Reads row y of the strip and kReach pairs on either side. The pairs on the left come from what the strip before it
// read, since it may have written over them.
void WaveletStrip::LoadRow(ptrdiff_t y) {
  const Layer& layer = *layer_;
  const ptrdiff_t first = 2 * left_, end = std::min(2 * (left_ + pairs_ + kReach), layer.width);
  double* const carry = layer.carried + y * kCarried;
  if (left_ > 0) {
    std::memcpy(low_ - kReach, carry, kReach * sizeof(double));
    std::memcpy(high_ - kReach, carry + kReach, kReach * sizeof(double));
  }

  if (layer.plane.values != nullptr) {
    for (ptrdiff_t x = first; x < end; x += kStripPairs) {
      const ptrdiff_t done = (x - first) / 2, pairs = std::min(kStripPairs, end - x) / 2;
      const double* const in = layer.plane.Row(x / kStripPairs, y);
      requests_.Add(in + std::min(kAhead, layer.height - 1 - y) * layer.plane.stride, static_cast<size_t>(2 * pairs));
      kernels_->SplitDoubles(in, low_ + done, high_ + done, pairs);
    }
  } else {
    const Channel& channel = layer.channel;
    const ptrdiff_t inside = std::min<ptrdiff_t>(end, channel.source.width);
    const size_t step = static_cast<size_t>(channel.source.channels);
    ptrdiff_t x = first;
    if (inside > first) {
      const size_t count = channel.InMemory(first, y, inside - first);
      const uint8_t* const in =
          channel.source.data + channel.source.RowOffset(static_cast<int32_t>(y)) + channel.offset;
      requests_.Add(channel.source.data + channel.Ahead(y) + first * step, count * step);
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
  // One further, so that the value before it starts a line of the cache.
  double* const high = high_ + 1;
  LiftInverse97(*kernels_, row + kMargin, row + half_ + kMargin, low_, high, pairs_);
  requests_.AskForSome();
  const ptrdiff_t first = 2 * left_;
  if (layer.plane.values != nullptr) {
    for (ptrdiff_t done = 0; done < pairs_; done += kStripPairs / 2) {
      double* const out = layer.plane.Row((first + 2 * done) / kStripPairs, y);
      kernels_->JoinDoubles(low_ + done, high + done, out, std::min(kStripPairs / 2, pairs_ - done));
    }
    return;
  }
  const Channel& channel = layer.channel;
  const ptrdiff_t end = std::min<ptrdiff_t>(first + 2 * pairs_, channel.source.width);
  if (y >= channel.source.height || end <= first) return;
  const size_t step = static_cast<size_t>(channel.source.channels);
  const size_t count = channel.InMemory(first, y, end - first);
  uint8_t* const out =
      channel.destination.data + channel.source.RowOffset(static_cast<int32_t>(y)) + channel.offset + first * step;
  requests_.Add(channel.destination.data + channel.Ahead(y) + first * step, count * step);
  requests_.AskForSome();
  kernels_->JoinBytes(low_, high, out, step, count / 2);
  requests_.AskForSome();
  if (count % 2 != 0) kernels_->JoinBytes(low_ + count / 2, low_ + count / 2, out + (count - 1) * step, 0, 1);
}

// Runs the forward transform down the strip and hands over every pair of rows, low-pass and high-pass, that are
// complete but for the columns' scale. Each holds its low-pass values and, half_ further, its high-pass values, both
// from kMargin pairs left of the strip on.
template <class Consumer>
void WaveletStrip::Transform(const Consumer& consumer) {
  const ptrdiff_t height = layer_->height;
  // Rows below the image repeat its last one, which may be overwritten when their turn comes.
  const ptrdiff_t last = layer_->plane.values != nullptr ? height - 1 : layer_->channel.source.height - 1;
  const ColumnLift lift(*kernels_, kForwardSteps, forwardRows_, kRowLength, half_ + wide_, height);
  const auto load = [&](ptrdiff_t y) {
    if (y < 0 || y >= height) return;
    double* const row = lift.Row(y);
    if (y <= last) {
      LoadRow(y);
      requests_.AskForSome();
      LiftForward97(*kernels_, low_ - kMargin, high_ - kMargin, row, row + half_, wide_);
      requests_.AskForSome();
      if (y == last) std::memcpy(lastRow_, row, (half_ + wide_) * sizeof(double));
    } else {
      std::memcpy(row, lastRow_, (half_ + wide_) * sizeof(double));
    }
  };
  for (ptrdiff_t y = 0; y < height + 4; y += 2) {
    load(y - 1);
    load(y);
    lift.Take(y);
    requests_.AskForSome();
    if (y >= 4) consumer((y - 4) / 2, lift.Row(y - 4), lift.Row(y - 3));
  }
}

uint64_t WaveletStrip::StoredDetails(uint64_t width, uint64_t height) {
  const uint64_t pairs = width / 2, strips = static_cast<uint64_t>(TiledPlane::Tiles(pairs));
  return kQuadrants * (height / 2) * (pairs + strips * 2 * kMargin);
}

// Where the store has the details of row y of the strip, one quadrant after the other, wide_ values each.
int16_t* WaveletStrip::DetailRows(const DetailStore& store, ptrdiff_t y) const {
  const ptrdiff_t before = left_ / kStripPairs * (kStripPairs + 2 * kMargin) * (layer_->height / 2);
  return store.rounded + kQuadrants * (before + y * wide_);
}

void WaveletStrip::Measure(const Layer& layer, ptrdiff_t left, const TiledPlane& low, DetailCounts* counts,
                           DetailStore& store) {
  Begin(layer, left);
  int32_t most[kQuadrants] = {};
  // A row is counted when the next one is there, since reading what was just written would wait for it.
  const auto count = [&](ptrdiff_t y) {
    const int16_t* const rounded = DetailRows(store, y);
    for (int32_t q = 0; q < kQuadrants; ++q) {
      counts[q].Add(rounded + q * wide_ + kMargin, pairs_, most[q]);
      requests_.AskForSome();
    }
  };
  Transform([&](ptrdiff_t y, const double* lowRow, const double* highRow) {
    if (y > 0) count(y - 1);
    double* const lowOut = low.Row(left / kStripPairs, y);
    if (y + 2 < layer.height / 2) {
      requests_.Add(lowOut + 2 * low.stride, static_cast<size_t>(pairs_));
      requests_.Add(DetailRows(store, y + 2), static_cast<size_t>(kQuadrants * wide_));
    }
    kernels_->ScaleDoubles(lowRow + kMargin, kForwardScales[0], lowOut, pairs_);
    const double* const details[kQuadrants] = {lowRow + half_, highRow, highRow + half_};
    int16_t* rounded = DetailRows(store, y);
    for (int32_t q = 0; q < kQuadrants; ++q, rounded += wide_) {
      most[q] = kernels_->RoundDetails(details[q], kDetailScales[q], rounded, wide_);
      requests_.AskForSome();
      if (most[q] == kDetailEntries) KeepLarge(details[q], kDetailScales[q], rounded, wide_, store);
    }
  });
  count(layer.height / 2 - 1);
}

void WaveletStrip::Rebuild(const Layer& layer, ptrdiff_t left, const TiledPlane& low, const DetailCurves& curves,
                           DetailStore& store) {
  Begin(layer, left);
  const ptrdiff_t half = layer.width / 2, height = layer.height;
  const ColumnLift back(*kernels_, kInverseSteps, inverseRows_, kRowLength, half_ + wide_, height);
  const auto take = [&](ptrdiff_t y) {
    back.Take(y);
    requests_.AskForSome();
    if (y >= 5 && y - 4 < height) StoreRow(y - 4, back.Row(y - 4));
    if (y >= 3 && y - 3 < height) StoreRow(y - 3, back.Row(y - 3));
  };
  // With the details themselves, or none where the store has all that is needed.
  const auto rebuild = [&](ptrdiff_t y, const double* const* details) {
    double* const outLow = back.Row(2 * y);
    double* const outHigh = back.Row(2 * y + 1);
    // Low-pass values are mirrored about even samples: the one at either end of the row is not repeated on the left,
    // but is on the right.
    double* const lows = outLow + kMargin;
    const ptrdiff_t tile = left / kStripPairs, later = std::min(y + kAhead / 2, height / 2 - 1);
    requests_.Add(low.Row(tile, later), static_cast<size_t>(pairs_));
    if (left > 0) AskFor(low.Row(tile - 1, later) + kStripPairs - kMargin, 1);
    if (left + pairs_ < half) AskFor(low.Row(tile + 1, later), 1);
    kernels_->ScaleDoubles(low.Row(tile, y), kInverseScales[0], lows, pairs_);
    for (ptrdiff_t i = -kMargin; i < 0; ++i) lows[i] = left == 0 ? lows[-i] : low.At(left + i, y) * kInverseScales[0];
    for (ptrdiff_t i = pairs_; i < pairs_ + kMargin; ++i) {
      lows[i] = left + i < half ? low.At(left + i, y) * kInverseScales[0] : lows[2 * (half - left) - 1 - i];
    }
    double* const shrunk[kQuadrants] = {outLow + half_, outHigh, outHigh + half_};
    int16_t* rounded = DetailRows(store, y);
    for (int32_t q = 0; q < kQuadrants; ++q, rounded += wide_) {
      if (details != nullptr) kernels_->RoundDetails(details[q], kDetailScales[q], rounded, wide_);
      requests_.AskForSome();
      if (!kernels_->ExpandDetails(rounded, curves[q], kShrunkScales[q], shrunk[q], wide_)) continue;
      for (ptrdiff_t i = 0; i < wide_; ++i) {
        if (std::abs(rounded[i]) < kDetailEntries) continue;
        const double detail = details != nullptr ? details[q][i] * kDetailScales[q] : store.large[store.taken++];
        shrunk[q][i] = detail * kShrunkScales[q];
      }
    }
    take(2 * y + 1);
  };
  if (store.complete) {
    for (ptrdiff_t y = 0; y < height / 2; ++y) rebuild(y, nullptr);
  } else {
    Transform([&](ptrdiff_t y, const double* lowRow, const double* highRow) {
      const double* const details[kQuadrants] = {lowRow + half_, highRow, highRow + half_};
      rebuild(y, details);
    });
  }
  take(height + 1);
  take(height + 3);
}

}  // namespace zel
