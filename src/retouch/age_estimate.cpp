#include "retouch/age_estimate.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/scratch.h"
#include "tone/histogram.h"

namespace zel {

namespace {

// How far a value counts as being above a bound: from nothing at 0.7 of the bound to wholly at 1.3 of it.
double Above(double value, double bound) {
  return std::min(std::max((value / bound - 0.7) / 0.6, 0.0), 1.0);
}

double Density(double level) {
  return -Logarithm(std::max(LightOfLevel(level / 255.0), 1e-4));
}

constexpr double kBlueBias = 0.02;  // of the slope of blue in sound pictures
constexpr double kFaint = 0.16;     // fading that light and shade may feign
constexpr double kMostFading = 1.5;
constexpr double kLifted = 13.5;        // black of a channel whose dye has faded
constexpr double kFadedWhite = 170.0;   // the least white of a picture with faded dyes: they leave white alone
constexpr double kFewNeutral = 0.011;   // share of near-grey colours that says something
constexpr double kNeutralGain = 0.034;  // by which that share grows when what was faded comes back
constexpr double kTurn = 0.557;         // change of the slopes after that
constexpr double kThin = 8.4;           // density of black that no sound picture has,
constexpr double kHardness = 9.0;       // with this much for each step from black to the dark parts,
constexpr double kSoft = 5.5;           // and that much less, wholly
constexpr double kDim = 1.8;            // lost white counts beside it,
constexpr double kFadedToo = 7.5;       // dyes that have faded have lost density together too,
constexpr double kPaperToo = 5.5;       // and yellowed pictures often are flat
constexpr double kNoDark = 145.0;       // a picture without anything dark does not show what was black
constexpr double kVeilApart = 1.5;      // a veil lifts one channel this much further than another,
constexpr double kVeilWhite = 0.6;      // takes this share of the lift from white,
constexpr double kVeilColour = 0.5;     // and more where it is coloured
constexpr double kYellow = 21.5;        // white of blue below white of red
constexpr double kMostYellow = 105.0;
constexpr double kWhite = 0.4;  // share of what is bright in red
constexpr double kPaper = 0.9;
constexpr double kFewestTones = 40.0;

// What a channel shows of black and white, in levels.
struct Levels {
  double black, white;
  double tail;  // from black to where the dark parts of the picture begin
};

constexpr double kDarkest = 0.0005;    // share of the samples that may be darker than black,
constexpr double kDark = 0.03;         // than its dark parts,
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
    PercentileWalk up(uncut);
    const int32_t black = counted < pixels / 4 ? 0 : up.To(kDarkest * counted);
    const int32_t dark = up.To(kDark * counted);
    const int32_t white = PercentileWalk(all).To((1.0 - kBrightest) * pixels);
    levels[k] = {std::max(black - 1, 0) + 0.0, std::min(white + 1, 255) + 0.0, dark - std::max(black - 1, 0) + 0.0};
  }
}

// How much the densities of red and blue change where light and shade change that of green, as logarithms: 0 in a sound
// picture, whatever its colours and its light.
struct Slopes {
  double red = 0.0, blue = 0.0;
  double neutral = 0.0;  // how many of the colours are near grey
};

constexpr int32_t kPerUnit = 256;      // steps of a logarithm
constexpr int32_t kFaintest = 26;      // differences from here on count,
constexpr int32_t kStrongest = 256;    // and above it count the same
constexpr int32_t kUnseen = -30000;    // where cut samples and noise tell nothing
constexpr int32_t kImpossible = 4096;  // a difference that only such a sample makes
constexpr int32_t kCells = 64;         // colours against green on both axes,
constexpr int32_t kCell = 128;         // each this wide, of sums of two logarithms
constexpr double kNear = 0.45;         // from grey
constexpr double kOneColour = 30.0;    // pairs from which one of its cells weighs as much as any
constexpr int32_t kBins = 257;         // of a slope's logarithm, 32 to the unit
constexpr int32_t kSlopeSteps = 1024;  // of a difference, above which slopes are told apart no further
constexpr int32_t kFewestPairs = 200;
constexpr int32_t kManyPixels = 40000;  // from here on every second row is enough

struct Pair {
  int16_t red, green, blue;  // sums of both pixels' logarithms
  int16_t strength;
  int16_t redBin, blueBin;  // of the slopes
};

// Neighbours between which all channels change the same way: there a surface is lit more or less. Every colour counts
// by its being there and little by its area, and those near grey count most: strong colours change their saturation
// with the light.
class ShadedPairs {
 public:
  // False when memory ran out.
  bool Find(const View<const uint8_t>& image) {
    const size_t pixels = static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
    const int32_t everyRow = pixels < kManyPixels ? 1 : 2;
    const size_t most = 2 * (pixels + static_cast<size_t>(image.width)) / static_cast<size_t>(everyRow);
    if (!pairs_.Allocate(most) || !cells_.Allocate(most) || !counts_.Allocate(kCells * kCells) ||
        !weights_.Allocate(kCells * kCells)) {
      return false;
    }
    oneColour_ = kOneColour / everyRow;
    int32_t logarithm[256], slope[kSlopeSteps];
    for (int32_t i = 0; i < 256; ++i) {
      logarithm[i] = i <= 12 || i >= 250
                         ? kUnseen
                         : static_cast<int32_t>(std::floor(kPerUnit * Logarithm(LightOfLevel(i / 255.0)) + 0.5));
    }
    slope[0] = 0;
    for (int32_t i = 1; i < kSlopeSteps; ++i) {
      slope[i] = static_cast<int32_t>(std::floor(Logarithm(static_cast<double>(i) / kSlopeSteps) * 32.0 + 0.5));
    }
    const int32_t red = image.PlaceOf(0);
    Pair* pair = pairs_.data();
    const auto look = [&](const uint8_t* p, const uint8_t* q) {
      const int32_t pr = logarithm[p[red]], pg = logarithm[p[1]], pb = logarithm[p[2 - red]];
      const int32_t qr = logarithm[q[red]], qg = logarithm[q[1]], qb = logarithm[q[2 - red]];
      const int32_t dr = pr - qr, dg = pg - qg, db = pb - qb;
      // Bitwise: which of these hold is anyone's guess, and one guess fails less often than six.
      if (!(((dr > 0) & (dg > 0) & (db > 0)) | ((dr < 0) & (dg < 0) & (db < 0)))) return;
      const int32_t ar = std::abs(dr), ag = std::abs(dg), ab = std::abs(db);
      const int32_t strength = std::max(ar, std::max(ag, ab));
      if (strength < kFaintest || strength > kImpossible) return;
      const auto bin = [&](int32_t difference) {
        const int32_t apart = slope[std::min(difference, kSlopeSteps - 1)] - slope[std::min(ag, kSlopeSteps - 1)];
        return static_cast<int16_t>(std::min(std::max(apart + kBins / 2, 0), kBins - 1));
      };
      *pair++ = {static_cast<int16_t>(pr + qr),
                 static_cast<int16_t>(pg + qg),
                 static_cast<int16_t>(pb + qb),
                 static_cast<int16_t>(std::min(strength, kStrongest)),
                 bin(ar),
                 bin(ab)};
    };
    for (int32_t y = 0; y < image.height; y += everyRow) {
      const uint8_t* const row = image.At(0, y);
      const uint8_t* const below = y + 1 < image.height ? image.At(0, y + 1) : nullptr;
      for (int32_t x = 0; x < image.width; ++x) {
        if (x + 1 < image.width) look(row + 3 * x, row + 3 * x + 3);
        if (below != nullptr) look(row + 3 * x, below + 3 * x);
      }
    }
    count_ = static_cast<int32_t>(pair - pairs_.data());
    return true;
  }

  // The slopes as they are, of colours as they would be with densities multiplied by `power`. False when there are too
  // few pairs to say anything.
  bool Measure(const double* power, Slopes* slopes) const {
    if (count_ < kFewestPairs) return false;
    constexpr int32_t kOne = 256;  // of the power
    int32_t factor[3];
    for (int32_t k = 0; k < 3; ++k) factor[k] = static_cast<int32_t>(power[k] * kOne + 0.5);
    const auto place = [](int32_t apart) {
      return std::min(std::max(apart + kOne * kCell * (kCells + 1) / 2, 0) / (kOne * kCell), kCells - 1);
    };
    const auto cell = [&](const Pair& pair) {
      const int32_t green = pair.green * factor[1];
      return place(pair.red * factor[0] - green) * kCells + place(pair.blue * factor[2] - green);
    };
    const Pair* const pairs = pairs_.data();
    int32_t* const counts = counts_.data();
    double* const weights = weights_.data();
    int16_t* const cells = cells_.data();
    std::fill(counts, counts + kCells * kCells, 0);
    for (int32_t i = 0; i < count_; ++i) {
      cells[i] = static_cast<int16_t>(cell(pairs[i]));
      ++counts[cells[i]];
    }
    double all = 0.0;
    for (int32_t i = 0; i < kCells * kCells; ++i) {
      if (counts[i] == 0) continue;
      const double red = (i / kCells - kCells / 2) * (kCell / (2.0 * kPerUnit)),
                   blue = (i % kCells - kCells / 2) * (kCell / (2.0 * kPerUnit));
      const double near = 1.0 / (1.0 + (red * red + blue * blue - red * blue) / (kNear * kNear));
      const double one = 1.0 / (counts[i] + oneColour_);
      all += counts[i] * one;
      weights[i] = near * near * one / kStrongest;
    }
    double bins[2][kBins] = {}, total = 0.0;
    for (int32_t i = 0; i < count_; ++i) {
      const double weight = weights[cells[i]] * pairs[i].strength;
      total += weight;
      bins[0][pairs[i].redBin] += weight;
      bins[1][pairs[i].blueBin] += weight;
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
  Scratch<Pair> pairs_;
  Scratch<int16_t> cells_;
  Scratch<int32_t> counts_;
  Scratch<double> weights_;
  int32_t count_ = 0;
  double oneColour_ = kOneColour;
};

// What the picture's shading says about its age.
struct Signs {
  double fading[3] = {0.0, 0.0, 0.0};  // how much less density a channel has than the one that kept most, as logarithms
  double paper = 0.0;                  // 0 to 1: that white has the colour of the paper
};

constexpr double kNone[3] = {1.0, 1.0, 1.0};

void SeekFading(const ShadedPairs& pairs, const Levels* levels, Slopes slopes, double* fading) {
  double slope[3] = {slopes.red, 0.0, slopes.blue - kBlueBias};
  const double red = slope[0], blue = slope[2], neutral = slopes.neutral;
  double power[3];
  constexpr int32_t kRounds = 2;
  for (int32_t round = 0;; ++round) {
    const double most = std::max(slope[0], std::max(slope[1], slope[2]));
    for (int32_t k = 0; k < 3; ++k) power[k] = Exponential(std::min(most - slope[k], kMostFading));
    if (round == kRounds) break;
    if (!pairs.Measure(power, &slopes)) return;
    slope[0] = slopes.red;
    slope[2] = slopes.blue - kBlueBias;
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

// Of the pixels that are bright in red, how many are as bright in all channels. Paper is; a flower, a face or the
// evening sky is not.
double WhiteAmongRed(const View<const uint8_t>& image, const Levels* levels) {
  const int32_t red = image.PlaceOf(0), pixels = image.width * image.height;
  const auto bright = [&](const uint8_t* pixel, int32_t k, int32_t place) {
    return pixel[place] > 0.9 * levels[k].white;
  };
  int32_t inRed = 0, white = 0;
  for (int32_t i = 0; i < pixels; ++i) {
    const uint8_t* const pixel = image.data + static_cast<size_t>(i) * 3;
    if (!bright(pixel, 0, red)) continue;
    ++inRed;
    if (bright(pixel, 1, 1) && bright(pixel, 2, 2 - red)) ++white;
  }
  return inRed == 0 ? 0.0 : static_cast<double>(white) / inRed;
}

bool SeekSigns(const View<const uint8_t>& image, const Levels* levels, Signs* signs) {
  const double yellow = levels[0].white - levels[2].white;
  if (levels[0].white >= levels[1].white - 3.0 && levels[1].white >= levels[2].white - 3.0 && yellow > 0.7 * kYellow) {
    signs->paper =
        Above(yellow, kYellow) * (1.0 - Above(yellow, kMostYellow)) * Above(WhiteAmongRed(image, levels), kWhite);
  }
  if (std::max(levels[0].black, std::max(levels[1].black, levels[2].black)) <= 0.7 * kLifted) return true;
  ShadedPairs pairs;
  if (!pairs.Find(image)) return false;
  Slopes slopes;
  if (!pairs.Measure(kNone, &slopes)) return true;
  const double most = std::max(slopes.red, std::max(0.0, slopes.blue)),
               least = std::min(slopes.red, std::min(0.0, slopes.blue));
  if (most - least > 0.5 * kFaint) SeekFading(pairs, levels, slopes, signs->fading);
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
  const double dark = least + levels[channels / 2].tail;
  const double lift = kThin + kFadedToo * fade + kPaperToo * signs.paper +
                      kDim * std::min(255.0 - brightest, 40.0) / 40.0 - Density(least) -
                      kHardness * (Density(least) - Density(dark));
  const double veiled = brightest - least < kFewestTones
                            ? 0.0
                            : std::min(std::max(lift / kSoft, 0.0), 1.0) * (1.0 - Above(least, kNoDark));
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
