#include "retouch/aged_photo.h"

#include <algorithm>
#include <cmath>

#include "core/blend.h"
#include "core/channel_lut.h"
#include "core/reduce.h"
#include "core/work_time.h"

namespace zel {

namespace {

constexpr int32_t kMeasuredExtent = 300;

struct Histogram {
  int32_t bins[256] = {};
  int32_t count = 0;

  // The first level at which more than the share of the samples is reached, from below.
  int32_t Percentile(double share) const {
    double sum = 0.0;
    for (int32_t level = 0; level < 255; ++level) {
      sum += bins[level];
      if (sum > share * count) return level;
    }
    return 255;
  }
};

// What a channel has left of its range, and what it is stretched between.
struct Levels {
  double black, white;
};

void Count(const SampledCopy& copy, Histogram* histograms) {
  const Geometry& geometry = copy.geometry;
  const uint8_t* sample = copy.pixels.data();
  const int32_t pixels = geometry.width * geometry.height;
  for (int32_t i = 0; i < pixels; ++i) {
    for (int32_t k = 0; k < geometry.channels; ++k) ++histograms[k].bins[*sample++];
  }
  for (int32_t k = 0; k < geometry.channels; ++k) histograms[k].count = pixels;
}

// Fading lifts the black of all channels by much the same, takes somewhat less from their white, and yellowing takes
// some more from one channel's white. What goes beyond is the subject: a red wall has no black in its red, a night no
// white.
constexpr double kEnd = 0.0005;      // share of the samples that count as below black or above white
constexpr double kBlackApart = 1.1;  // most lift of one channel, as a multiple of the least
constexpr double kWhiteLost = 0.6;   // levels of white lost for each level of lift
constexpr double kWhiteApart = 0.5;  // levels that one channel may have lost besides
constexpr double kBlackKept = 10.0;  // lift up to which nothing is done,
constexpr double kBlackLost = 22.0;  // and from which everything
constexpr double kMostLift = 105.0;  // lift up to which it may be fading,
constexpr double kNoDark = 155.0;    // and from which it is a light picture
constexpr double kFewestTones = 40.0;
constexpr double kTogether = 0.05;  // share of the way on which a channel's middle meets the others'

Levels Limited(const Levels& measured, double leastBlack, double mostWhite) {
  leastBlack = std::min(leastBlack, kMostLift);
  const double white = std::max(mostWhite, 255.0 - kWhiteLost * leastBlack);
  const double black = std::min(measured.black, leastBlack * kBlackApart);
  return {black, std::max(measured.white, std::max(white - kWhiteApart * leastBlack, black + kFewestTones))};
}

// How much of the correction a picture gets: nothing while it still has black, and nothing when it has so little dark,
// or so few tones, that it does not show what was black.
double Fading(double leastBlack, double mostWhite) {
  if (mostWhite - leastBlack < kFewestTones) return 0.0;
  const double lifted = std::max((leastBlack - kBlackKept) / (kBlackLost - kBlackKept), 0.0);
  const double dark = std::max((kNoDark - leastBlack) / (kNoDark - kMostLift), 0.0);
  return std::min(std::min(lifted, dark), 1.0);
}

double Stretched(const Levels& levels, double level) {
  return std::min(std::max((level - levels.black) / (levels.white - levels.black), 0.0), 1.0);
}

// value ^ exponent for exponents below 2, by halves, quarters, eighths of it: square roots and products are the same on
// every platform, which the power function is not.
double Power(double value, double exponent) {
  double result = 1.0, root = value;
  if (exponent >= 1.0) {
    result = value;
    exponent -= 1.0;
  }
  for (int32_t bit = 0; bit < 24; ++bit) {
    root = std::sqrt(root);
    exponent *= 2.0;
    if (exponent >= 1.0) {
      result *= root;
      exponent -= 1.0;
    }
  }
  return result;
}

// The exponent that moves a middle to another, within limits; found by halving, because it needs no logarithm.
double GammaBetween(double from, double to) {
  double low = 0.8, high = 1.25;
  for (int32_t i = 0; i < 24; ++i) {
    const double middle = (low + high) / 2.0;
    // Powers of a level below 1 fall as the exponent grows.
    (Power(from, middle) > to ? low : high) = middle;
  }
  return (low + high) / 2.0;
}

void FillCurve(const Levels& levels, double gamma, double fading, uint8_t* table) {
  for (int32_t i = 0; i < 256; ++i) {
    const double whole = 255.0 * Power(Stretched(levels, i), gamma);
    table[i] = static_cast<uint8_t>(i + (whole - i) * fading + 0.5);
  }
}

// Three tables, or one, in the order of the samples.
void BuildCurves(const Histogram* histograms, int32_t channels, uint8_t* block) {
  Levels levels[3];
  double leastBlack = 255.0, mostWhite = 0.0;
  for (int32_t k = 0; k < channels; ++k) {
    // One level outside what is kept, so that a flat area at the end is not clipped as a whole.
    levels[k].black = std::max(histograms[k].Percentile(kEnd) - 1, 0);
    levels[k].white = std::min(histograms[k].Percentile(1.0 - kEnd) + 1, 255);
    leastBlack = std::min(leastBlack, levels[k].black);
    mostWhite = std::max(mostWhite, levels[k].white);
  }
  double middles[3], mean = 0.0;
  for (int32_t k = 0; k < channels; ++k) {
    levels[k] = Limited(levels[k], leastBlack, mostWhite);
    middles[k] = Stretched(levels[k], histograms[k].Percentile(0.5));
    mean += middles[k] / channels;
  }
  const double fading = Fading(leastBlack, mostWhite);
  for (int32_t k = 0; k < channels; ++k) {
    const double to = middles[k] + (mean - middles[k]) * kTogether;
    const double gamma = channels == 1 || middles[k] <= 0.0 || middles[k] >= 1.0 ? 1.0 : GammaBetween(middles[k], to);
    FillCurve(levels[k], gamma, fading, block + k * kLutEntries8);
  }
}

// Whether more than a hundredth of the samples fall together at either end that were apart before.
bool Clips(const Histogram& histogram, const uint8_t* table) {
  int64_t low = 0, high = 0;
  for (int32_t i = 0; i < 256; ++i) {
    if (i > 0 && table[i] == table[0]) low += histogram.bins[i];
    if (i < 255 && table[i] == table[255]) high += histogram.bins[i];
  }
  return low * 100 > histogram.count || high * 100 > histogram.count;
}

// The curves pulled from the identity by `percent`, or by less, down to 100, where they would clip.
void Pull(const Histogram* histograms, int32_t channels, int32_t percent, uint8_t* block) {
  uint8_t identity[3 * kLutEntries8], pulled[3 * kLutEntries8];
  MakeIdentityLut(identity, 3, 8);
  const size_t entries = channels * kLutEntries8;
  for (;; percent = std::max(percent - 5, 100)) {
    std::copy(block, block + entries, pulled);
    PullTowards(pulled, identity, entries, percent);
    bool clips = false;
    for (int32_t k = 0; k < channels; ++k) clips = clips || Clips(histograms[k], pulled + k * kLutEntries8);
    if (percent <= 100 || !clips) break;
  }
  std::copy(pulled, pulled + entries, block);
}

}  // namespace

bool RecoverAgedPhoto(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source);
  if (geometry.channels != 1 && geometry.channels != 3) return false;
  SampledCopy copy;
  if (!PointSample(source->data, geometry, nullptr, kMeasuredExtent, &copy)) return false;
  BringTo8Bits(&copy);

  Histogram histograms[3];
  Count(copy, histograms);
  if (geometry.channels == 3 && geometry.blueFirst) std::swap(histograms[0], histograms[2]);
  uint8_t block[ZEL_LUT1D_BYTES];
  BuildCurves(histograms, geometry.channels, block);
  Pull(histograms, geometry.channels, std::min(2 * std::min(std::max(strength, 0), 100), 150), block);
  return ApplyChannelLut(source, destination, rect, block, geometry.channels, 8);
}

bool AgedPhotoRecovered(const ImageDesc* source, const ImageDesc* destination, int32_t mode, int32_t strength,
                        const ZelRect* rect) {
  const WorkTime time;
  if (mode == 1) strength = static_cast<int32_t>(static_cast<int64_t>(strength) * 3 / 4);
  if (strength == 0) return CopySource(source, destination, rect);
  if (!RecoverAgedPhoto(source, destination, strength, rect)) return false;
  time.Report();
  return true;
}

}  // namespace zel
