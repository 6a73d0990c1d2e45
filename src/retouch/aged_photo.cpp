#include "retouch/aged_photo.h"

#include <algorithm>
#include <cmath>

#include "color/linear_light.h"
#include "core/channel_lut.h"
#include "core/reduce.h"
#include "core/work_time.h"
#include "retouch/age_estimate.h"

namespace zel {

namespace {

// The two ways in which age lifts black, taken back, as levels: a faded dye has lost density everywhere (a power of
// light), a veil has added the same light everywhere (a difference). Both lead black and white to the same place.
struct Fading {
  double dye[3][256], veil[3][256];

  double At(int32_t channel, int32_t level, double veiled) const {
    return dye[channel][level] + (veil[channel][level] - dye[channel][level]) * veiled;
  }
};

void FillCurves(const Age& age, int32_t channels, Fading* curves) {
  const double target = LightOfLevel(kBlack / 255.0);
  double lights[256];
  for (int32_t i = 0; i < 256; ++i) lights[i] = LightOfLevel(i / 255.0);
  for (int32_t k = 0; k < channels; ++k) {
    const double black = LightOfLevel(age.black[k] / 255.0), white = LightOfLevel(age.white[k] / 255.0);
    const double power = Logarithm(target) / Logarithm(black / white);
    for (int32_t i = 0; i < 256; ++i) {
      double light = lights[i];
      if (age.power[k] > 1.0 && light > 0.0 && light < age.paper[k]) {
        light = age.paper[k] * Exponential(Logarithm(light / age.paper[k]) * age.power[k]);
      }
      const double share = std::min(light / white, 1.0);
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
constexpr double kDoubt = 1.2;     // without a clear sign, half of each does the least harm
constexpr double kExposed = 0.2;   // weight of the brightness that most pictures have,
constexpr double kUsual = 105.0;   // its level
constexpr double kUsually = 50.0;  // and its spread
constexpr double kGrey = 0.1;      // colour at which a pixel counts half
double VeiledShare(const View<const uint8_t>& image, const Fading& curves) {
  constexpr int32_t kBands = 8, kSamples = 5200;
  const int32_t red = image.PlaceOf(0), pixels = image.width * image.height, every = pixels / kSamples | 1;
  double best = 0.0, found = 0.5;
  for (int32_t quarter = 0; quarter <= 4; ++quarter) {
    const double veiled = quarter / 4.0;
    int32_t table[3][256];
    for (int32_t k = 0; k < 3; ++k) {
      for (int32_t i = 0; i < 256; ++i) table[k][i] = static_cast<int32_t>(curves.At(k, i, veiled) + 0.5);
    }
    double grey[kBands] = {};
    int64_t brightness = 0, seen = 0;
    for (int32_t i = 0; i < pixels; i += every) {
      const uint8_t* sample = image.data + static_cast<size_t>(i) * 3;
      const int32_t r = table[0][sample[red]], g = table[1][sample[1]], b = table[2][sample[2 - red]];
      const int32_t high = std::max(r, std::max(g, b)), low = std::min(r, std::min(g, b));
      brightness += 3 * r + 6 * g + b;
      ++seen;
      if (high < 12) continue;
      const double colour = (high - low) / (high + 4.0);
      grey[high / 32] += 1.0 / (1.0 + colour * colour / (kGrey * kGrey));
    }
    const double apart = veiled - 0.5,
                 off = (static_cast<double>(brightness) / (10.0 * static_cast<double>(seen)) - kUsual) / kUsually;
    double score = -kDoubt * apart * apart - kExposed * off * off;
    for (double sum : grey) score += std::sqrt(sum * every / pixels);
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

// Three tables, or one, in the order of the samples' names: red, green, blue. False when memory ran out.
bool BuildTables(const View<const uint8_t>& image, int32_t strength, uint8_t* block) {
  const int32_t channels = image.channels;
  FillIdentity(Curves<uint8_t>{block, channels});
  Age age;
  if (!EstimateAge(image, &age)) return false;
  if (!age.any) return true;
  Fading curves;
  FillCurves(age, channels, &curves);
  const double veiled = channels == 3 ? VeiledShare(image, curves) : 0.5;
  const double share = std::min(strength / 50.0, 0.7 + strength * 0.006);
  for (int32_t k = 0; k < channels; ++k) FillTable(curves, k, veiled, share, block + k * kLutEntries8);
  return true;
}

}  // namespace

bool RecoverAgedPhoto(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if (in.channels != 1 && in.channels != 3) return false;
    SampledCopy<uint8_t> copy;
    if (!PointSample(in, in.Whole(), kMeasuredExtent, &copy)) return false;
    uint8_t block[3 * kLutEntries8];
    if (!BuildTables(copy.view, std::min(std::max(strength, 0), 100), block)) return false;
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
