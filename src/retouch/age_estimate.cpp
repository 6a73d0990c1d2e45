#include "retouch/age_estimate.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/reduce.h"
#include "core/scratch.h"
#include "tone/histogram.h"

namespace zel {

namespace {

// How far a value counts as being above a bound: from nothing at 0.7 of the bound to wholly at 1.3 of it.
double Above(double value, double bound) {
  return std::min(std::max((value / bound - 0.7) / 0.6, 0.0), 1.0);
}

constexpr double kBlueBias = 0.02;  // of the slope of blue in sound pictures
constexpr double kFaint = 0.16;     // fading that light and shade may feign
constexpr double kMostFading = 1.5;
constexpr double kLifted = 13.5;       // black of a channel whose dye has faded
constexpr double kFadedWhite = 165.0;  // the least white of a picture with faded dyes: they leave white alone
constexpr double kFewNeutral = 0.03;   // share of near-grey colours that says something
constexpr double kNeutralGain = 0.15;  // by which that share grows when what was faded comes back,
constexpr double kPaperGain = 0.15;    // and when the colour of the paper is taken out
constexpr double kTurn = 0.42;         // change of the slopes after that
constexpr double kVeil = 46.0;         // lift of black that no sound picture has
constexpr double kDim = 1.0;           // lost white counts beside it
constexpr double kHaze = 0.5;          // and shadows that are blue speak for air, against it
constexpr double kFadedToo = 30.0;     // dyes that have faded have lost density together too,
constexpr double kPaperToo = 10.0;     // and yellowed pictures often are flat
constexpr double kNoDark = 145.0;      // a picture without anything dark does not show what was black
constexpr double kVeilApart = 1.3;     // a veil lifts one channel this much further than another,
constexpr double kVeilWhite = 0.6;     // takes this share of the lift from white,
constexpr double kVeilColour = 0.5;    // and more where it is coloured
constexpr double kYellow = 30.0;       // white of blue below white of red
constexpr double kMostYellow = 110.0;
constexpr double kPaper = 0.8;
constexpr double kFewestTones = 40.0;

// What a channel shows of black and white, in levels.
struct Levels {
  double black, white;
};

constexpr double kDarkest = 0.0005;    // share of the samples that may be darker than black,
constexpr double kBrightest = 0.0003;  // and brighter than white: few, for small highlights are what paper yellows

// One level outside what is measured, so that a flat area at the end is not clipped as a whole. Level 0 tells nothing
// about black where there are others: it is cut, or the frame round a scan.
void MeasureLevels(const View<const uint8_t>& image, Levels* levels) {
  int32_t histograms[3][256] = {};
  const uint8_t* sample = image.data;
  const int32_t pixels = image.width * image.height;
  for (int32_t i = 0; i < pixels; ++i) {
    for (int32_t k = 0; k < image.channels; ++k) ++histograms[k][*sample++];
  }
  for (int32_t k = 0; k < image.channels; ++k) {
    const int32_t* const histogram = histograms[image.channels == 1 ? 0 : image.PlaceOf(k)];
    const int32_t counted = pixels - histogram[0];
    const auto all = [=](int32_t level) { return histogram[level]; };
    const auto uncut = [=](int32_t level) { return level == 0 ? 0 : histogram[level]; };
    const int32_t black = counted < pixels / 4 ? 0 : PercentileWalk(uncut).To(kDarkest * counted);
    const int32_t white = PercentileWalk(all).To((1.0 - kBrightest) * pixels);
    levels[k] = {std::max(black - 1, 0) + 0.0, std::min(white + 1, 255) + 0.0};
  }
}

// How much the densities of red and blue change where light and shade change that of green, as logarithms: 0 in a sound
// picture, whatever its colours and its light.
struct Slopes {
  double red = 0.0, blue = 0.0;
  double neutral = 0.0;  // how many of the colours are near grey
};

constexpr int32_t kPerUnit = 256;    // steps of a logarithm
constexpr int32_t kFaintest = 26;    // differences from here on count,
constexpr int32_t kStrongest = 256;  // and above it count the same
constexpr int32_t kMostSteps = 4096;
constexpr int32_t kCells = 128;      // colours against green on both axes,
constexpr int32_t kCell = 128;       // each this wide, of sums of two logarithms
constexpr double kNear = 0.45;       // from grey
constexpr double kOneColour = 30.0;  // pairs from which one of its cells weighs as much as any
constexpr int32_t kBins = 257;       // of a slope's logarithm, 32 to the unit
constexpr int32_t kFewestPairs = 200;

struct Pair {
  int16_t cell;
  int16_t strength;
  int16_t red, blue;  // bins
};

// Neighbours between which all channels change the same way: there a surface is lit more or less. Every colour counts
// by its being there and little by its area, and those near grey count most: strong colours change their saturation
// with the light.
class ShadedPairs {
 public:
  bool Allocate(const View<const uint8_t>& image) {
    image_ = image;
    for (int32_t i = 1; i < kMostSteps; ++i) {
      steps_[i] = static_cast<int16_t>(std::floor(Logarithm(static_cast<double>(i) / kMostSteps) * 32.0 + 0.5));
    }
    for (int32_t i = 0; i < 256; ++i) logarithms_[i] = Logarithm(std::max(LightOfLevel(i / 255.0), 1e-4));
    return pairs_.Allocate(2 * static_cast<size_t>(image.width) * static_cast<size_t>(image.height)) &&
           counts_.Allocate(kCells * kCells) && weights_.Allocate(kCells * kCells);
  }

  // With each channel's light as a share of `white`, and densities multiplied by `power`. False when there are too few
  // pairs to say anything.
  bool Measure(const double* white, const double* power, Slopes* slopes) {
    Find(white, power);
    if (count_ < kFewestPairs) return false;
    double all = 0.0;
    for (int32_t i = 0; i < kCells * kCells; ++i) {
      if (counts_[static_cast<size_t>(i)] == 0) continue;
      const double red = (i / kCells - kCells / 2) * (kCell / (2.0 * kPerUnit)),
                   blue = (i % kCells - kCells / 2) * (kCell / (2.0 * kPerUnit));
      const double near = 1.0 / (1.0 + (red * red + blue * blue - red * blue) / (kNear * kNear));
      const double one = 1.0 / (counts_[static_cast<size_t>(i)] + kOneColour);
      all += counts_[static_cast<size_t>(i)] * one;
      weights_[static_cast<size_t>(i)] = near * near * one / kStrongest;
    }
    double bins[2][kBins] = {};
    double total = 0.0;
    for (int32_t i = 0; i < count_; ++i) {
      const Pair& pair = pairs_[static_cast<size_t>(i)];
      const double weight = weights_[static_cast<size_t>(pair.cell)] * pair.strength;
      total += weight;
      bins[0][pair.red] += weight;
      bins[1][pair.blue] += weight;
    }
    double median[2];
    for (int32_t k = 0; k < 2; ++k) {
      int32_t bin = 0;
      for (double sum = bins[k][0]; bin < kBins - 1 && sum < 0.5 * total; sum += bins[k][bin]) ++bin;
      median[k] = (bin - kBins / 2) / 32.0;
    }
    *slopes = {median[0], median[1], total / all};
    return true;
  }

 private:
  void Find(const double* white, const double* power) {
    int32_t logarithm[3][256];
    for (int32_t k = 0; k < 3; ++k) {
      const double offset = Logarithm(white[k]);
      for (int32_t i = 0; i < 256; ++i) {
        logarithm[k][i] = static_cast<int32_t>(std::floor(kPerUnit * -power[k] * (offset - logarithms_[i]) + 0.5));
      }
    }
    std::fill(counts_.data(), counts_.data() + kCells * kCells, 0);
    count_ = 0;
    const int32_t red = image_.PlaceOf(0);
    const int32_t* const r = logarithm[0];
    const int32_t* const g = logarithm[1];
    const int32_t* const b = logarithm[2];
    const auto seen = [](int32_t level) { return level > 12 && level < 250; };
    const auto look = [&](const uint8_t* p, const uint8_t* q) {
      if (!seen(p[0]) || !seen(p[1]) || !seen(p[2]) || !seen(q[0]) || !seen(q[1]) || !seen(q[2])) return;
      const int32_t pr = r[p[red]], pg = g[p[1]], pb = b[p[2 - red]], qr = r[q[red]], qg = g[q[1]], qb = b[q[2 - red]];
      int32_t dr = pr - qr, dg = pg - qg, db = pb - qb;
      if (dr < 0) dr = -dr, dg = -dg, db = -db;
      if (dr <= 0 || dg <= 0 || db <= 0) return;
      const int32_t strength = std::max(dr, std::max(dg, db));
      if (strength < kFaintest) return;
      const auto bin = [&](int32_t d) {
        const int32_t slope = steps_[std::min(d, kMostSteps - 1)] - steps_[std::min(dg, kMostSteps - 1)];
        return static_cast<int16_t>(std::min(std::max(slope + kBins / 2, 0), kBins - 1));
      };
      const auto place = [](int32_t two) {
        return std::min(std::max(two + kCell / 2 + kCell * kCells / 2, 0) / kCell, kCells - 1);
      };
      const int32_t cell = place(pr + qr - pg - qg) * kCells + place(pb + qb - pg - qg);
      ++counts_[static_cast<size_t>(cell)];
      pairs_[static_cast<size_t>(count_++)] = {static_cast<int16_t>(cell),
                                               static_cast<int16_t>(std::min(strength, kStrongest)), bin(dr), bin(db)};
    };
    ForEachNeighbours(image_, look);
  }

  View<const uint8_t> image_;
  int16_t steps_[kMostSteps] = {};  // logarithm of 1 to 4095 of a whole, 32 to the unit
  double logarithms_[256] = {};     // of the light of a level
  Scratch<Pair> pairs_;
  Scratch<int32_t> counts_;
  Scratch<double> weights_;
  int32_t count_ = 0;
};

// What the picture's shading says about its age.
struct Signs {
  double fading[3] = {0.0, 0.0, 0.0};  // how much less density a channel has than the one that kept most, as logarithms
  double paper = 0.0;                  // 0 to 1: that white has the colour of the paper
};

constexpr double kNone[3] = {1.0, 1.0, 1.0};

void SeekFading(ShadedPairs* pairs, const Levels* levels, Slopes slopes, double* fading) {
  double slope[3] = {slopes.red, 0.0, slopes.blue - kBlueBias};
  const double red = slope[0], blue = slope[2], neutral = slopes.neutral;
  double power[3];
  constexpr int32_t kRounds = 2;
  for (int32_t round = 0;; ++round) {
    const double most = std::max(slope[0], std::max(slope[1], slope[2]));
    for (int32_t k = 0; k < 3; ++k) power[k] = Exponential(std::min(most - slope[k], kMostFading));
    if (round == kRounds) break;
    if (!pairs->Measure(kNone, power, &slopes)) return;
    slope[0] += slopes.red;
    slope[2] += slopes.blue;
  }
  double most = -1e9, dense = -1e9, density[3], white = 255.0;
  for (int32_t k = 0; k < 3; ++k) {
    const double black = LightOfLevel(std::max(levels[k].black, 1.0) / 255.0) / LightOfLevel(levels[k].white / 255.0);
    density[k] = Logarithm(std::min(std::max(-Logarithm(std::min(black, 1.0)), 0.05) / 16.0, 1.0));
    dense = std::max(dense, density[k]);
    most = std::max(most, slope[k]);
    white = std::min(white, levels[k].white);
  }
  const double turn = std::max(std::fabs(slope[0] - red), std::fabs(slope[2] - blue));
  const double sure = Above(white, kFadedWhite) * Above(slopes.neutral, kFewNeutral) *
                      Above(slopes.neutral - neutral, kNeutralGain * neutral) * (1.0 - Above(turn, kTurn));
  for (int32_t k = 0; k < 3; ++k) {
    const double flatter = (most - slope[k]) * Above(most - slope[k], kFaint), lifted = dense - density[k];
    fading[k] = std::min(sure * Above(levels[k].black, kLifted) * std::min(flatter, lifted), kMostFading);
  }
}

bool SeekSigns(const View<const uint8_t>& image, const Levels* levels, Signs* signs) {
  ShadedPairs pairs;
  if (!pairs.Allocate(image)) return false;
  Slopes slopes;
  if (!pairs.Measure(kNone, kNone, &slopes)) return true;
  const double most = std::max(slopes.red, std::max(0.0, slopes.blue)),
               least = std::min(slopes.red, std::min(0.0, slopes.blue));
  if (most - least > 0.5 * kFaint) SeekFading(&pairs, levels, slopes, signs->fading);
  const double yellow = levels[0].white - levels[2].white;
  if (levels[0].white < levels[1].white - 3.0 || levels[1].white < levels[2].white - 3.0 || yellow < 0.7 * kYellow) {
    return true;
  }
  double white[3];
  for (int32_t k = 0; k < 3; ++k) white[k] = std::max(LightOfLevel(levels[k].white / 255.0), 1e-4);
  Slopes cleared;
  if (!pairs.Measure(white, kNone, &cleared)) return true;
  signs->paper = Above(yellow, kYellow) * (1.0 - Above(yellow, kMostYellow)) * Above(cleared.neutral, kFewNeutral) *
                 Above(cleared.neutral - slopes.neutral, kPaperGain * slopes.neutral);
  return true;
}

}  // namespace

bool EstimateAge(const View<const uint8_t>& image, Age* age) {
  Levels levels[3];
  MeasureLevels(image, levels);
  Signs signs;
  if (image.channels == 3 && !SeekSigns(image, levels, &signs)) return false;
  const int32_t channels = image.channels;
  double least = 255.0, brightest = 0.0, fade = 0.0;
  for (int32_t k = 0; k < channels; ++k) {
    fade = std::max(fade, signs.fading[k]);
    age->power[k] = Exponential(signs.fading[k]);
    age->paper[k] = std::max(LightOfLevel(levels[k].white / 255.0), 1e-4);
    if (signs.fading[k] > 0.0 && levels[k].black > 0.0) {
      const double light = std::min(LightOfLevel(levels[k].black / 255.0) / age->paper[k], 1.0);
      levels[k].black = 255.0 * LevelOfLight(Exponential(Logarithm(light) * age->power[k]) * age->paper[k]);
    }
    least = std::min(least, levels[k].black);
    brightest = std::max(brightest, levels[k].white);
  }
  const double haze = channels == 3 ? std::max(levels[2].black - levels[0].black, 0.0) : 0.0;
  const double lift = least + kDim * std::min(255.0 - brightest, 40.0) * Above(least, 14.0) - kHaze * haze +
                      kFadedToo * fade + kPaperToo * signs.paper;
  const double veiled = brightest - least < kFewestTones ? 0.0 : Above(lift, kVeil) * (1.0 - Above(least, kNoDark));
  double mostVeil = 0.0;
  for (int32_t k = 0; k < channels; ++k) {
    const double black = std::max(levels[k].black, kBlack);
    const double veil = (std::max(std::min(black, kVeilApart * least), kBlack) - kBlack) * veiled;
    age->black[k] = kBlack + veil;
    mostVeil = std::max(mostVeil, veil);
  }
  age->any = false;
  for (int32_t k = 0; k < channels; ++k) {
    const double lost = 255.0 - levels[k].white, apart = brightest - levels[k].white;
    const double veil = kVeilWhite * least * veiled + kVeilColour * mostVeil;
    const double paper = kPaper * apart * signs.paper;
    age->white[k] = std::max(255.0 - std::min(std::max(veil, paper), lost), age->black[k] + kFewestTones);
    if (age->black[k] > kBlack + 0.5 || age->white[k] < 254.5 || age->power[k] > 1.01) age->any = true;
  }
  return true;
}

}  // namespace zel
