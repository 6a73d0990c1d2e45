#include "retouch/aged_photo.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/channel_lut.h"
#include "core/reduce.h"
#include "core/work_time.h"
#include "tone/histogram.h"

namespace zel {

namespace {

struct Histogram {
  int32_t bins[256] = {};
  int32_t count = 0;

  // The first level at which more than the share of the samples is reached, from below.
  int32_t Percentile(double share) const {
    const auto pixels = [this](int32_t level) { return bins[level]; };
    return std::min(PercentileWalk(pixels).To(share * count), 255);
  }
};

// What a channel shows of black and white, in levels.
struct Levels {
  double black, white;
};

// Of packed rows, in the order red, green, blue.
void Count(const View<const uint8_t>& image, Histogram* histograms) {
  const uint8_t* sample = image.data;
  const int32_t pixels = image.width * image.height;
  for (int32_t i = 0; i < pixels; ++i) {
    for (int32_t k = 0; k < image.channels; ++k) ++histograms[k].bins[*sample++];
  }
  for (int32_t k = 0; k < image.channels; ++k) histograms[k].count = pixels;
  if (image.channels == 3 && image.blueFirst) std::swap(histograms[0], histograms[2]);
}

constexpr double kDarkest = 0.0005;    // share of the samples that may be darker than black,
constexpr double kBrightest = 0.0003;  // and brighter than white: few, for small highlights are what paper yellows
constexpr double kBlack = 8.0;         // the black of a photograph that has not aged
constexpr double kFewestTones = 40.0;

// From 0 at `from` to 1 at `to`.
double Ramp(double value, double from, double to) {
  return std::min(std::max((value - from) / (to - from), 0.0), 1.0);
}

// Dyes fade one by one: a channel's black may be lifted by this much over both others. Below `from` it is the subject,
// and so it is far above: shadows are often reddish, and nothing photographed is as green or blue as a faded dye.
struct DyeLift {
  double from, whole, most;
};
constexpr DyeLift kDyeLift[3] = {{12.0, 28.0, 70.0}, {3.0, 12.0, 55.0}, {4.0, 14.0, 45.0}};

// What of the measured ends is age. A veil lifts the black of all channels, one up to 1.3 times as far as another, and
// takes up to 0.6 of it from white, with half of it more where it is coloured. A picture without anything dark
// (from 105 to 155) does not show what was black. Yellowed paper takes most from blue and least from red; it is
// believed when the channels are apart by more than most lamps bring them, and then for three fifths.
void KeepWhatIsAge(Levels* levels, int32_t channels) {
  double least = 255.0, brightest = 0.0;
  for (int32_t k = 0; k < channels; ++k) {
    least = std::min(least, levels[k].black);
    brightest = std::max(brightest, levels[k].white);
  }
  const double dark = 1.0 - Ramp(least, 105.0, 155.0);
  const double veiled = brightest - least < kFewestTones ? 0.0 : Ramp(least, 12.0, 24.0) * dark;
  Levels kept[3];
  double mostVeil = 0.0;
  for (int32_t k = 0; k < channels; ++k) {
    const double black = std::max(levels[k].black, kBlack);
    const double veil = (std::max(std::min(black, 1.3 * least), kBlack) - kBlack) * veiled;
    double dye = 0.0;
    if (channels == 3) {
      const double over = levels[k].black - std::max(levels[(k + 1) % 3].black, levels[(k + 2) % 3].black);
      const DyeLift& lift = kDyeLift[k];
      dye = Ramp(over, lift.from, lift.whole) * (1.0 - Ramp(over, lift.most, 1.6 * lift.most)) * dark;
    }
    kept[k].black = kBlack + std::max(veil, (black - kBlack) * dye);
    mostVeil = std::max(mostVeil, veil);
  }
  const bool yellowed =
      channels == 3 && levels[0].white >= levels[1].white - 3.0 && levels[1].white >= levels[2].white - 3.0;
  for (int32_t k = 0; k < channels; ++k) {
    const double lost = 255.0 - levels[k].white, apart = brightest - levels[k].white;
    const double veil = 0.6 * least * veiled + 0.5 * mostVeil;
    const double paper = yellowed ? 0.6 * apart * Ramp(apart, 35.0, 60.0) * (1.0 - Ramp(apart, 75.0, 130.0)) : 0.0;
    kept[k].white = std::max(255.0 - std::min(std::max(veil, paper), lost), kept[k].black + kFewestTones);
    levels[k] = kept[k];
  }
}

bool Unaged(const Levels* levels, int32_t channels) {
  for (int32_t k = 0; k < channels; ++k) {
    if (levels[k].black > kBlack + 0.5 || levels[k].white < 254.5) return false;
  }
  return true;
}

// The two ways in which age lifts black, taken back, as levels: a faded dye has lost density everywhere (a power of
// light), a veil has added the same light everywhere (a difference). Both lead black and white to the same place.
struct Fading {
  double dye[3][256], veil[3][256];

  double At(int32_t channel, int32_t level, double veiled) const {
    return dye[channel][level] + (veil[channel][level] - dye[channel][level]) * veiled;
  }
};

void FillCurves(const Levels* levels, int32_t channels, Fading* curves) {
  const double target = LightOfLevel(kBlack / 255.0);
  for (int32_t k = 0; k < channels; ++k) {
    const double black = LightOfLevel(levels[k].black / 255.0), white = LightOfLevel(levels[k].white / 255.0);
    const double power = Logarithm(target) / Logarithm(black / white);
    for (int32_t i = 0; i < 256; ++i) {
      const double light = LightOfLevel(i / 255.0), share = std::min(light / white, 1.0);
      const double dense = share > 0.0 ? Exponential(Logarithm(share) * power) : 0.0;
      const double clear =
          light <= black ? target * light / black : target + (light - black) / (white - black) * (1.0 - target);
      curves->dye[k][i] = 255.0 * LevelOfLight(dense);
      curves->veil[k][i] = 255.0 * LevelOfLight(clear);
    }
  }
}

// How much of the lifted black was a veil: what brings the most pixels of all brightnesses near grey, and the picture
// near the brightness that most have. Taking back the wrong one leaves the middle tones coloured, or far too dark.
double VeiledShare(const View<const uint8_t>& image, const Fading& curves) {
  constexpr int32_t kBands = 8, kEvery = 5;
  const int32_t red = image.PlaceOf(0), pixels = image.width * image.height;
  double best = 0.0, found = 0.5;
  for (int32_t quarter = 0; quarter <= 4; ++quarter) {
    const double veiled = quarter / 4.0;
    int32_t table[3][256];
    for (int32_t k = 0; k < 3; ++k) {
      for (int32_t i = 0; i < 256; ++i) table[k][i] = static_cast<int32_t>(curves.At(k, i, veiled) + 0.5);
    }
    double grey[kBands] = {};
    int64_t brightness = 0, seen = 0;
    for (int32_t i = 0; i < pixels; i += kEvery) {
      const uint8_t* sample = image.data + static_cast<size_t>(i) * 3;
      const int32_t r = table[0][sample[red]], g = table[1][sample[1]], b = table[2][sample[2 - red]];
      const int32_t high = std::max(r, std::max(g, b)), low = std::min(r, std::min(g, b));
      brightness += 3 * r + 6 * g + b;
      ++seen;
      if (high < 12) continue;
      const double colour = (high - low) / (high + 4.0);
      grey[high / 32] += 1.0 / (1.0 + colour * colour / (0.1 * 0.1));
    }
    // Without a clear sign, half of each does the least harm.
    const double apart = veiled - 0.5,
                 off = (static_cast<double>(brightness) / (10.0 * static_cast<double>(seen)) - 105.0) / 50.0;
    double score = -0.8 * apart * apart - 0.2 * off * off;
    for (double sum : grey) score += std::sqrt(sum * kEvery / pixels);
    if (quarter == 0 || score > best) best = score, found = veiled;
  }
  return found;
}

// `share` 1 is the measured curve. Beyond it middle tones go on the same way and the ends stay, so that nothing clips.
void FillTable(const Fading& curves, int32_t channel, double veiled, double share, uint8_t* table) {
  for (int32_t i = 0; i < 256; ++i) {
    const double whole = curves.At(channel, i, veiled), far = whole * (255.0 - whole) / (127.5 * 127.5);
    const double level = share <= 1.0 ? i + (whole - i) * share : whole + (whole - i) * (share - 1.0) * far;
    table[i] = static_cast<uint8_t>(std::min(std::max(level, 0.0), 255.0) + 0.5);
    if (i > 0) table[i] = std::max(table[i], table[i - 1]);
  }
}

// Three tables, or one, in the order of the samples' names: red, green, blue.
void BuildTables(const View<const uint8_t>& image, const Histogram* histograms, int32_t strength, uint8_t* block) {
  const int32_t channels = image.channels;
  FillIdentity(Curves<uint8_t>{block, channels});
  Levels levels[3];
  for (int32_t k = 0; k < channels; ++k) {
    // One level outside what is kept, so that a flat area at the end is not clipped as a whole.
    levels[k].black = std::max(histograms[k].Percentile(kDarkest) - 1, 0);
    levels[k].white = std::min(histograms[k].Percentile(1.0 - kBrightest) + 1, 255);
  }
  KeepWhatIsAge(levels, channels);
  if (Unaged(levels, channels)) return;
  Fading curves;
  FillCurves(levels, channels, &curves);
  const double veiled = channels == 3 ? VeiledShare(image, curves) : 0.5;
  const double share = std::min(strength / 50.0, 0.5 + strength / 100.0);
  for (int32_t k = 0; k < channels; ++k) FillTable(curves, k, veiled, share, block + k * kLutEntries8);
}

}  // namespace

bool RecoverAgedPhoto(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if (in.channels != 1 && in.channels != 3) return false;
    SampledCopy<uint8_t> copy;
    if (!PointSample(in, in.Whole(), kMeasuredExtent, &copy)) return false;
    Histogram histograms[3];
    Count(copy.view, histograms);
    uint8_t block[3 * kLutEntries8];
    BuildTables(copy.view, histograms, std::min(std::max(strength, 0), 100), block);
    return ApplyChannelLutRaw(in, out, ClampedRegion(rect, in.Whole()), Curves<uint8_t>{block, in.channels});
  });
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
