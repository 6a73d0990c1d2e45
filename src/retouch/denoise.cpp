#include "retouch/denoise.h"

#include <algorithm>

#include "core/cache.h"
#include "retouch/detail_curve.h"
#include "retouch/wavelet_strip.h"

namespace zel {

namespace {

constexpr int32_t kMostLevels = 9;
constexpr uint64_t kLineDoubles = kCacheLine / sizeof(double);
constexpr uint64_t kLargeShare = 32;  // one of the channel's own details in so many finds room as it is

void BuildCurves(const DetailCounts* counts, int32_t strength, DetailCurves& curves) {
  const int32_t modes[kQuadrants] = {1, 1, 2};
  for (int32_t q = 0; q < kQuadrants; ++q) BuildDetailCurve(counts[q].RobustMaximum(), strength, modes[q], curves[q]);
}

// Nothing to decompose: samples go through unchanged.
void CopyPlane(const Channel& channel) {
  const size_t step = static_cast<size_t>(channel.source.channels);
  for (int32_t y = 0; y < channel.source.height; ++y) {
    const size_t first = channel.source.RowOffset(y) + channel.offset;
    const size_t count = channel.InMemory(0, y, channel.source.width);
    for (size_t x = 0; x < count; ++x)
      channel.destination.data[first + x * step] = channel.source.data[first + x * step];
  }
}

// One channel on its way down through the levels and up again. Levels take turns strip by strip: what one has written
// is read by the next while it is still in the cache.
class Pyramid {
 public:
  // Memory for planes of this padded size.
  bool Allocate(uint64_t width, uint64_t height, int32_t levels);
  // False when the listener gave up, who is told shares from `from` on.
  bool Denoise(const Channel& channel, int32_t strength, const Listener* listener, double from, double share);

 private:
  struct Level {
    Layer layer;
    ptrdiff_t done;  // pairs of columns
    DetailCounts counts[kQuadrants];
    DetailCurves curves;
    DetailStore store;
  };

  bool Measure(int32_t level, ptrdiff_t columns);
  bool Rebuild(int32_t level, ptrdiff_t columns);
  bool GoesOn(int32_t level) const;

  int32_t count_ = 0;
  Scratch<double> values_;
  Scratch<int16_t> details_;
  Scratch<double> large_;
  Scratch<Level> levels_;  // of the one after the last there is only the layer, what remains
  WaveletStrip strip_;
  const Listener* listener_ = nullptr;
  double from_ = 0, share_ = 1;  // of the pass at hand
};

bool Pyramid::Allocate(uint64_t width, uint64_t height, int32_t levels) {
  count_ = levels;
  if (!levels_.Allocate(static_cast<size_t>(levels) + 1) || !strip_.Allocate()) return false;
  // First the sizes, then the places.
  uint64_t values = kLineDoubles, details = 0, large = 0;
  for (int32_t l = 0; l <= levels; ++l) {
    Level& level = levels_[l];
    const uint64_t levelWidth = width >> l, levelHeight = height >> l;
    level.layer = Layer();
    level.layer.width = static_cast<ptrdiff_t>(levelWidth);
    level.layer.height = static_cast<ptrdiff_t>(levelHeight);
    if (l > 0) {
      TiledPlane& plane = level.layer.plane;
      plane.height = level.layer.height;
      plane.stride = static_cast<ptrdiff_t>(TiledPlane::Stride(levelWidth));
      plane.tiles = TiledPlane::Tiles(levelWidth);
      // Only what remains after the last level is wanted as a whole.
      if (l < levels) plane.tiles = std::min(plane.tiles, WaveletStrip::kLiveTiles);
      values += plane.tiles * levelHeight * plane.stride;
    }
    if (l == levels) break;
    const uint64_t stored = WaveletStrip::StoredDetails(levelWidth, levelHeight);
    values += levelHeight * WaveletStrip::kCarried;
    details += stored;
    const uint64_t room = l == 0 ? stored / kLargeShare : stored;
    level.store.room = static_cast<size_t>(room);
    large += room;
  }
  if (std::max(values, large) > PTRDIFF_MAX / sizeof(double) || details > PTRDIFF_MAX / sizeof(int16_t)) return false;
  if (!values_.Allocate(static_cast<size_t>(values)) || !details_.Allocate(static_cast<size_t>(details)) ||
      !large_.Allocate(static_cast<size_t>(large))) {
    return false;
  }
  double* nextValue = AtCacheLine(values_.data());
  int16_t* nextDetail = details_.data();
  double* nextLarge = large_.data();
  for (int32_t l = 0; l <= levels; ++l) {
    Level& level = levels_[l];
    if (l > 0) {
      TiledPlane& plane = level.layer.plane;
      plane.values = nextValue;
      nextValue += plane.tiles * plane.height * plane.stride;
    }
    if (l == levels) break;
    level.layer.carried = nextValue;
    nextValue += level.layer.height * WaveletStrip::kCarried;
    level.store.rounded = nextDetail;
    nextDetail += WaveletStrip::StoredDetails(level.layer.width, level.layer.height);
    level.store.large = nextLarge;
    nextLarge += level.store.room;
  }
  return true;
}

// Whether the listener wants more after a strip. Those of the levels below belong to one of the first.
bool Pyramid::GoesOn(int32_t level) const {
  if (level > 0 || listener_ == nullptr) return true;
  const double done = static_cast<double>(levels_[0].done) / static_cast<double>(levels_[1].layer.width);
  return listener_->hear(listener_->user, from_ + share_ * done);
}

// Measures the strips for which `columns` columns of the layer suffice and, with what they give, the levels below.
bool Pyramid::Measure(int32_t level, ptrdiff_t columns) {
  if (level == count_) return true;
  Level& here = levels_[level];
  const Layer& below = levels_[level + 1].layer;
  while (here.done < below.width) {
    const ptrdiff_t end = std::min(here.done + kStripPairs, below.width);
    if (std::min(2 * (end + WaveletStrip::kReach), here.layer.width) > columns) return true;
    strip_.Measure(here.layer, here.done, below.plane, here.counts, here.store);
    here.done = end;
    if (!Measure(level + 1, end) || !GoesOn(level)) return false;
  }
  return true;
}

// Rebuilds strips until at least `columns` columns of the layer, or all, are done.
bool Pyramid::Rebuild(int32_t level, ptrdiff_t columns) {
  if (level == count_) return true;
  Level& here = levels_[level];
  const Layer& below = levels_[level + 1].layer;
  while (2 * here.done < std::min(columns, here.layer.width)) {
    const ptrdiff_t end = std::min(here.done + kStripPairs, below.width);
    if (!Rebuild(level + 1, end + static_cast<ptrdiff_t>(kLiftMargin))) return false;
    strip_.Rebuild(here.layer, here.done, below.plane, here.curves, here.store);
    here.done = end;
    if (!GoesOn(level)) return false;
  }
  return true;
}

bool Pyramid::Denoise(const Channel& channel, int32_t strength, const Listener* listener, double from, double share) {
  levels_[0].layer.channel = channel;
  listener_ = listener;
  from_ = from;
  share_ = share / 2;
  for (int32_t l = 0; l < count_; ++l) {
    const Layer& below = levels_[l + 1].layer;
    const DetailCounts none(static_cast<uint64_t>(below.width) * below.height);
    std::fill_n(levels_[l].counts, static_cast<int32_t>(kQuadrants), none);
    levels_[l].done = 0;
    levels_[l].store.taken = 0;
    levels_[l].store.complete = true;
  }
  if (!Measure(0, levels_[0].layer.width)) return false;
  from_ += share_;
  for (int32_t l = 0; l < count_; ++l) {
    BuildCurves(levels_[l].counts, strength >> l, levels_[l].curves);
    levels_[l].done = 0;
    levels_[l].store.taken = 0;
  }
  return Rebuild(0, levels_[0].layer.width);
}

}  // namespace

int32_t DenoiseStrength(uint32_t setting) {
  if (setting > INT32_MAX) return -1;
  return static_cast<int32_t>(setting <= 50 ? 2 * setting : std::min<uint32_t>(setting + 50, INT32_MAX));
}

int32_t DetailLevels(int32_t width, int32_t height, int32_t strength) {
  const int32_t quarter = std::min(width, height) >> 2;
  int32_t levels = 0;
  while (levels < kMostLevels && (2 << levels) <= std::min(quarter, strength)) ++levels;
  return levels;
}

int64_t PaddedSize(int32_t size, int32_t levels) {
  const int64_t step = int64_t{1} << levels;
  return (size + step - 1) / step * step;
}

bool DenoiseImage(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const Listener* listener) {
  return WithByteViews(source, destination, [&](const View<const uint8_t>& in, const View<uint8_t>& out) {
    return WaveletDenoisePlanes(in, out, strength, listener);
  });
}

bool WaveletDenoisePlanes(const View<const uint8_t>& source, const View<uint8_t>& destination, int32_t strength,
                          const Listener* listener) {
  if (strength < 0) return false;
  const int32_t levels = DetailLevels(source.width, source.height, strength);
  const uint64_t width = PaddedSize(source.width, levels), height = PaddedSize(source.height, levels);

  Pyramid pyramid;
  if (levels > 0 && !pyramid.Allocate(width, height, levels)) return false;
  for (size_t offset = 0; offset < 3; ++offset) {
    // In place the pass before may have changed the last byte, which only images of fewer channels need.
    const uint8_t lastByte = source.channels < 3 ? source.data[source.SampleCount() - 1] : uint8_t{0};
    const Channel channel = {source, destination, offset, lastByte};
    if (levels > 0) {
      if (!pyramid.Denoise(channel, strength, listener, static_cast<double>(offset) / 3, 1.0 / 3)) return false;
    } else {
      CopyPlane(channel);
    }
  }
  return true;
}

bool Denoise(const ImageDesc* source, const ImageDesc* destination, uint32_t setting, const ZelRect* rect,
             const Listener* listener) {
  return setting == 0 ? CopySource(source, destination, rect)
                      : DenoiseImage(source, destination, DenoiseStrength(setting), listener);
}

}  // namespace zel
