#include "selective/light_votes.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "tone/histogram.h"

namespace zel {

namespace {

constexpr int32_t kPlane = kAxis * kAxis;
constexpr int32_t kOutside = kPlane;  // the place of a colour that the axes do not reach

constexpr int32_t kBrightness[] = {5, 25, 125, 500};  // the brightest n in 2000 of the pixels begin a class each
constexpr int32_t kEdges[] = {10, 60};                // the strongest n in 2000, as many as pixels, begin a class each
constexpr int32_t kClipped = 252;                     // levels from here on may have been higher
constexpr double kClippedSay = 0.15;                  // so they weigh less
constexpr int32_t kDarkest = 8;                       // below it noise and rounding make the colour
constexpr int32_t kFullWeight = 24;                   // levels above it from which a pixel counts fully
constexpr int32_t kFaint = 8;                         // less than this in a channel, in 4095 of light, is noise
constexpr int32_t kFaintest = 13;                     // and less than this in all together, at 1024 for `high`

// What ran over in all channels has no colour left, neither its own nor that of the light: it is no surface and no
// edge.
bool IsBlown(const uint8_t* pixel) {
  return std::min(pixel[0], std::min(pixel[1], pixel[2])) >= kClipped;
}

// Where differences of logarithms against green, in 1/16 of a step, lie on the axes.
int32_t PlaceOf(int32_t red, int32_t green, int32_t blue) {
  const int32_t r = (red - green + 8 + kAxis / 2 * 16) >> 4, b = (blue - green + 8 + kAxis / 2 * 16) >> 4;
  return r < 0 || b < 0 || r >= kAxis || b >= kAxis ? kOutside : r * kAxis + b;
}

// Puts ranks into classes: `begins` are the numbers in 2000 of `count` at which the next class begins.
void FillClasses(const int32_t* ranks, double count, const int32_t* begins, int32_t classes, uint8_t* classOf) {
  double sum = 0.0;
  for (int32_t i = 4095; i >= 0; --i) {
    const double share = (sum + ranks[i] / 2.0) / count * 2000.0;
    int32_t c = 0;
    while (c < classes - 1 && share >= begins[c]) ++c;
    classOf[i] = static_cast<uint8_t>(c);
    sum += ranks[i];
  }
}

// Surfaces by their brightness, from the brightest, then edges by their strength, from the strongest.
constexpr int32_t kSurfaceClasses = 5;
constexpr int32_t kEdgeClasses = 3;
constexpr int32_t kClasses = kSurfaceClasses + kEdgeClasses;
constexpr double kSay[kClasses] = {8.0, 4.64, 2.69, 1.56, 0.91, kEdgesSay / 3.0, kEdgesSay / 3.0, kEdgesSay / 3.0};

// One plane for each way in which the colours of a class can be clipped; edges that are clipped do not count.
constexpr int32_t FirstPlane(int32_t c) {
  return std::min(c, kSurfaceClasses) * kClips + std::max(c - kSurfaceClasses, 0);
}
constexpr int32_t kPlanes = FirstPlane(kClasses);
constexpr int32_t kShadePlane = kPlanes;  // dark surfaces once more

// One picture being counted.
class Counter {
 public:
  Counter(const View<const uint8_t>& image, LightVotes* votes) : image_(image), votes_(votes) {}

  bool Run() {
    if (!counts_.AllocateZeroed((kPlanes + 1) * kPlane) || !weights_.AllocateZeroed(kKinds * kClips * kPlane))
      return false;
    if (!Measure()) return true;
    CountSurfaces();
    if (!CountEdges()) return false;
    for (int32_t c = 0; c < kClasses; ++c) Weigh(c);
    return Gather();
  }

 private:
  template <class Visit>
  void ForEach(const Visit& visit) const {
    const int32_t red = image_.PlaceOf(0);
    for (int32_t y = 0; y < image_.height; ++y) {
      const uint8_t* pixel = image_.At(0, y);
      for (int32_t x = 0; x < image_.width; ++x, pixel += 3) {
        if (!IsBlown(pixel)) visit(pixel[red], pixel[1], pixel[2 - red]);
      }
    }
  }

  // The light of levels, and how bright pixels are in this picture. False when nothing is left to measure.
  bool Measure() {
    int32_t histogram[3][256] = {};
    ForEach([&](uint8_t red, uint8_t green, uint8_t blue) {
      ++histogram[0][red], ++histogram[1][green], ++histogram[2][blue];
    });
    count_ = 0;
    for (const int32_t pixels : histogram[1]) count_ += pixels;
    if (count_ == 0) return false;
    votes_->blown = 1.0 - count_ / (static_cast<double>(image_.width) * image_.height);
    for (int32_t i = 0; i < 256; ++i) {
      light_[i] = LightOfLevel(i / 255.0);
      logarithm_[i] = i < kDarkest ? 0 : static_cast<int32_t>(std::floor(Logarithm(light_[i]) * (16 * kPerUnit) + 0.5));
    }
    for (int32_t i = 0; i < kDarkest; ++i) logarithm_[i] = logarithm_[kDarkest];
    for (int32_t k = 0; k < 3; ++k) {
      const auto samples = [&](int32_t level) { return histogram[k][level]; };
      const double above = std::floor(count_ / 200.0);
      const int32_t level = PercentileWalk(samples).To(count_ - above - 1.0);
      const double high = votes_->high[k] = std::max(light_[level], 1e-3);
      for (int32_t i = 0; i < 256; ++i) {
        brightness_[k][i] = static_cast<int32_t>(std::min(light_[i] / high * 1024.0, 4095.0));
      }
    }
    return true;
  }

  void Count(int32_t plane, int32_t place, int32_t weight) {
    counts_[static_cast<size_t>(plane * kPlane + place)] += weight;
    totals_[plane] += weight;
  }

  int32_t Brightness(uint8_t red, uint8_t green, uint8_t blue) const {
    return std::min(brightness_[0][red] + brightness_[1][green] + brightness_[2][blue], 4095);
  }

  void CountSurfaces() {
    int32_t ranks[4096] = {};
    ForEach([&](uint8_t red, uint8_t green, uint8_t blue) { ++ranks[Brightness(red, green, blue)]; });
    uint8_t classOf[4096];
    FillClasses(ranks, count_, kBrightness, kSurfaceClasses, classOf);
    ForEach([&](uint8_t red, uint8_t green, uint8_t blue) {
      const int32_t c = classOf[Brightness(red, green, blue)];
      const int32_t r = logarithm_[red], g = logarithm_[green], b = logarithm_[blue];
      const int32_t place = PlaceOf(r, g, b);
      if (place == kOutside) return;
      if (c == kSurfaceClasses - 1) {
        constexpr int32_t kShade = 24;  // one channel is bright enough; the others may be dark: a deep blue is blue
        const int32_t bright = std::max(red, std::max(green, blue)) - kShade;
        if (bright >= 0) Count(kShadePlane, place, std::min(bright + 1, kFullWeight));
      }
      const int32_t dark = std::min(red, std::min(green, blue)) - kDarkest;
      if (dark < 0) return;
      const int32_t clip =
          (red >= kClipped ? kRed : 0) + (green >= kClipped ? kGreen : 0) + (blue >= kClipped ? kBlue : 0);
      Count(FirstPlane(c) + clip, place, std::min(dark + 1, kFullWeight));
    });
  }

  // The light of one row of pixels, channel by channel, and what ran over.
  struct LightRow {
    Scratch<int32_t> light[3];
    Scratch<uint8_t> over;

    bool Allocate(int32_t width) {
      const auto count = static_cast<size_t>(width);
      return light[0].Allocate(count) && light[1].Allocate(count) && light[2].Allocate(count) && over.Allocate(count);
    }
  };
  enum Over : uint8_t { kFits, kClippedPixel, kBlownPixel };

  void FillRow(int32_t y, const int32_t* lights, const LightRow& row) const {
    const int32_t red = image_.PlaceOf(0);
    const uint8_t* pixel = image_.At(0, y);
    for (size_t x = 0; x < static_cast<size_t>(image_.width); ++x, pixel += 3) {
      row.light[0][x] = lights[pixel[red]];
      row.light[1][x] = lights[pixel[1]];
      row.light[2][x] = lights[pixel[2 - red]];
      const bool clipped = std::max(pixel[0], std::max(pixel[1], pixel[2])) >= kClipped;
      row.over[x] = IsBlown(pixel) ? kBlownPixel : clipped ? kClippedPixel : kFits;
    }
  }

  // How strong the edges between pixels a and b are, as Brightness; 0 where they do not differ in all channels the same
  // way. Flat loops for the compiler's vectors.
  static void Strengths(const int32_t* const* a, const int32_t* const* b, int32_t count, const int32_t* perHigh,
                        int32_t* strengths) {
    const int32_t *a0 = a[0], *a1 = a[1], *a2 = a[2], *b0 = b[0], *b1 = b[1], *b2 = b[2];
    const int32_t p0 = perHigh[0], p1 = perHigh[1], p2 = perHigh[2];
    for (int32_t x = 0; x < count; ++x) {
      const int32_t red = a0[x] - b0[x], green = a1[x] - b1[x], blue = a2[x] - b2[x];
      const int32_t least = std::min(red, std::min(green, blue)), most = std::max(red, std::max(green, blue));
      const int32_t strength = (std::abs(red) * p0 + std::abs(green) * p1 + std::abs(blue) * p2) >> 8;
      strengths[x] = least >= kFaint || most <= -kFaint ? strength : 0;
    }
  }

  // Neighbours that differ in all channels the same way, by the light between them: there a surface is lit more or
  // less, or shines, and the difference has the colour of the light more often than the surfaces themselves.
  bool CountEdges() {
    LightRow rows[2];
    const size_t width = static_cast<size_t>(image_.width);
    const Scratch<int32_t> strengths(width), strong(width);
    const Scratch<uint32_t> kept(width * image_.height);
    if (!rows[0].Allocate(image_.width) || !rows[1].Allocate(image_.width) || !strengths || !strong || !kept)
      return false;
    int32_t lights[256], differenceLogarithm[4096] = {}, perHigh[3], ranks[4096] = {};
    for (int32_t i = 0; i < 256; ++i) lights[i] = static_cast<int32_t>(light_[i] * 4095.0 + 0.5);
    for (int32_t i = kFaint; i < 4096; ++i) {
      differenceLogarithm[i] = static_cast<int32_t>(std::floor(Logarithm(i / 4096.0) * (16 * kPerUnit) + 0.5));
    }
    for (int32_t k = 0; k < 3; ++k) perHigh[k] = static_cast<int32_t>(std::min(16.0 / votes_->high[k], 4095.0));
    size_t count = 0;
    double sixth[3] = {};
    const auto look = [&](const LightRow& row, const LightRow& other, size_t step, int32_t pairs) {
      const int32_t* const a[3] = {row.light[0].data(), row.light[1].data(), row.light[2].data()};
      const int32_t* const b[3] = {other.light[0].data() + step, other.light[1].data() + step,
                                   other.light[2].data() + step};
      Strengths(a, b, pairs, perHigh, strengths.data());
      size_t held = 0;
      for (int32_t x = 0; x < pairs; ++x) {
        strong[held] = x;
        held += strengths[static_cast<size_t>(x)] >= kFaintest ? 1 : 0;
      }
      for (size_t i = 0; i < held; ++i) {
        const auto x = static_cast<size_t>(strong[i]);
        const int32_t over = std::max(row.over[x], other.over[x + step]);
        if (over == kBlownPixel) continue;
        const int32_t d[3] = {std::abs(a[0][x] - b[0][x]), std::abs(a[1][x] - b[1][x]), std::abs(a[2][x] - b[2][x])};
        for (int32_t k = 0; k < 3; ++k) {
          const double square = static_cast<double>(d[k]) * d[k];
          sixth[k] += square * square * square * (over == kClippedPixel ? kClippedSay : 1.0);
        }
        if (over == kClippedPixel) continue;
        const auto rank = static_cast<uint32_t>(std::min(strengths[x], 4095));
        ++ranks[rank];
        const int32_t place = PlaceOf(differenceLogarithm[d[0]], differenceLogarithm[d[1]], differenceLogarithm[d[2]]);
        kept[count++] = rank << 16 | static_cast<uint32_t>(place);
      }
    };
    for (int32_t y = 0; y < image_.height; ++y) {
      const LightRow& row = rows[y % 2];
      FillRow(y, lights, row);
      if (y % 2 == 0) {
        look(row, row, 1, image_.width - 1);
      } else {
        look(rows[0], row, 0, image_.width);
      }
    }
    const double all = sixth[0] + sixth[1] + sixth[2];
    votes_->hasEdges = all > 0.0;
    if (votes_->hasEdges) {
      const auto root = [&](int32_t k) { return Logarithm(std::max(sixth[k] / all, 1e-12)) / 6.0; };
      votes_->strongest = {root(0) - root(1), root(2) - root(1)};
    }
    uint8_t classOf[4096];
    FillClasses(ranks, count_ / 2.0, kEdges, kEdgeClasses, classOf);
    for (size_t i = 0; i < count; ++i) {
      const int32_t place = static_cast<int32_t>(kept[i] & 0xFFFF);
      if (place < kOutside) Count(FirstPlane(kSurfaceClasses + classOf[kept[i] >> 16]), place, 1);
    }
    return true;
  }

  // A colour counts by its being there and little by its area: a wall or the sky is one surface.
  template <class Visit>
  void ForEachColour(int32_t plane, int64_t total, const Visit& visit) const {
    if (totals_[plane] == 0) return;
    const int32_t* const counts = counts_.data() + plane * kPlane;
    for (int32_t i = 0; i < kPlane; ++i) {
      if (counts[i] != 0) visit(i, counts[i] / (counts[i] + 0.0015 * static_cast<double>(total)));
    }
  }

  // All colours of a class weigh its say together, less where hardly any are left.
  void Weigh(int32_t c) {
    const int32_t plane = FirstPlane(c), clips = c < kSurfaceClasses ? kClips : 1;
    int64_t total = 0;
    for (int32_t i = 0; i < clips; ++i) total += totals_[plane + i];
    const auto forEachVote = [&](int32_t clip, const auto& visit) {
      ForEachColour(plane + clip, total, [&](int32_t place, double there) {
        const double weight = there * (clip == 0 ? 1.0 : kClippedSay);
        if (weight >= 0.05) visit(place, weight);
      });
    };
    double weights = 0.0;
    for (int32_t i = 0; i < clips; ++i) {
      forEachVote(i, [&](int32_t, double weight) {
        weights += weight;
        if (c < kSurfaceClasses) ++votes_->surfaces;
      });
    }
    const double unit = kSay[c] * kVoteUnit / std::max(weights, 0.2);
    const int32_t kind = c < kSurfaceClasses - 1 ? kBright : c < kSurfaceClasses ? kDark : kEdge;
    for (int32_t i = 0; i < clips; ++i) {
      uint32_t* const sums = weights_.data() + (kind * kClips + i) * kPlane;
      forEachVote(i, [&](int32_t place, double weight) { sums[place] += static_cast<uint32_t>(weight * unit); });
    }
  }

  bool Gather() {
    constexpr size_t kMost = 16384;
    if (!votes_->votes.Allocate(kMost)) return false;
    size_t held = 0;
    for (int32_t i = 0; i < kKinds * kClips; ++i) {
      const uint32_t* const sums = weights_.data() + i * kPlane;
      for (int32_t place = 0; place < kPlane; ++place) {
        if (sums[place] == 0 || held == kMost) continue;
        votes_->votes[held++] = {sums[place], PlaceOfDifference(place / kAxis - kAxis / 2, place % kAxis - kAxis / 2)};
      }
      votes_->begins[i + 1] = static_cast<int32_t>(held);
    }
    Chroma sum = {0.0, 0.0};
    double weights = 0.0;
    ForEachColour(kShadePlane, totals_[kShadePlane], [&](int32_t place, double there) {
      weights += there;
      sum.red += there * (place / kAxis - kAxis / 2), sum.blue += there * (place % kAxis - kAxis / 2);
    });
    if (weights > 0.0) votes_->shade = {sum.red / (weights * kPerUnit), sum.blue / (weights * kPerUnit)};
    return true;
  }

  View<const uint8_t> image_;
  LightVotes* votes_;
  int32_t count_ = 0;                            // of the pixels that are not blown
  double light_[256];                            // of a level
  int32_t logarithm_[256], brightness_[3][256];  // of that light, in 1/16 of a step; of it against `high`
  Scratch<int32_t> counts_;                      // of pixels and edges, for each plane and place
  int64_t totals_[kPlanes + 1] = {};
  Scratch<uint32_t> weights_;  // for each kind, way to be clipped and place
};

}  // namespace

bool CountLightVotes(const View<const uint8_t>& image, LightVotes* votes) {
  return Counter(image, votes).Run();
}

}  // namespace zel
