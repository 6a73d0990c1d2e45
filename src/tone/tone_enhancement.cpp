#include "tone/tone_enhancement.h"

#include <algorithm>
#include <cmath>

#include "core/blend.h"
#include "core/channel_lut.h"
#include "core/work_time.h"
#include "tone/equalize_tone.h"
#include "tone/gamma.h"
#include "tone/histogram.h"
#include "tone/levels.h"
#include "tone/smart_contrast.h"

namespace zel {

namespace {

constexpr size_t kBlockBytes = 3 * kLutEntries8;

bool ChainGamma(double gamma, uint8_t* block) {
  const float g = static_cast<float>(gamma);
  const float gammas[3] = {g, g, g};
  uint8_t second[kBlockBytes];
  return MakeGammaLut(second, 3, 8, gammas) && ComposeChannelLut(block, 3, 8, second, 3, 8);
}

bool AutoCurve(const ImageDesc* source, const ZelRect* rect, int32_t core, uint8_t* block) {
  return AutoToneCurve(source, rect, 0.5, 100, core, block, 3, 8);
}

bool Brightness(const ImageDesc* source, const ZelRect* rect, const AppliedCurves* through, double* mean) {
  float red, green, blue;
  if (!ChannelMeans(source->data, GeometryOf(*source), rect, &red, &green, &blue, false, through)) return false;
  *mean = (static_cast<double>(red) + green + blue) * 0.33333334;
  return true;
}

// Style 1: a curve for light pictures. Where it brightened the picture all the same, a gamma takes that back.
bool LightStyle(const ImageDesc* source, const ZelRect* rect, uint8_t* block) {
  double before, after;
  if (!IsUsable(source) || !Brightness(source, rect, nullptr, &before)) return false;
  if (!AutoCurve(source, rect, kToneLight, block)) return false;
  // The histogram includes the rectangle's right column and bottom row, the curve does not.
  const AppliedCurves curves{block, ClampedRegion(rect, source->width, source->height)};
  if (!Brightness(source, rect, &curves, &after)) return false;
  if (after <= before) return true;
  if (before == 0.0) {
    MakeIdentityLut(block, 3, 8);
    return true;
  }
  // The second logarithm takes the mean on its scale of 0 to 255, so that the quotient is negative and the limit of 0.5
  // holds for all but nearly black pictures.
  double gamma = std::log(after * 0.00392156862745098) / std::log(before);
  if (gamma > 1.0) gamma = 1.0;
  if (!(gamma >= 0.5)) gamma = 0.5;
  return ChainGamma(gamma, block);
}

// Per cent of the curve that is used.
int32_t BlendPercent(int32_t flag, int32_t style, int32_t strength) {
  const int64_t s = strength;
  if (flag == 1) return static_cast<int32_t>((3 * s) >> 2);
  if (style != 1 || s <= 50) return strength;
  return static_cast<int32_t>(s <= 75 ? 2 * s - 50 : 100);
}

bool EqualizingCurve(const ImageDesc* source, int32_t flag, int32_t style, const ZelRect* rect, uint8_t* block) {
  switch (style) {
    case 0:
      return AutoCurve(source, rect, flag == 1 ? kToneMiddle : kToneChosen, block);
    case 1:
      return LightStyle(source, rect, block);
    case 2:
      return AutoCurve(source, rect, kToneNormal, block);
    case 3:
      return AutoCurve(source, rect, kToneMiddle, block);
    case 5:
      return AutoCurve(source, rect, kToneDark, block);
    default:
      return false;
  }
}

bool EqualizingStyle(const ImageDesc* source, int32_t flag, int32_t style, int32_t strength, const ZelRect* rect,
                     uint8_t* block) {
  uint8_t identity[kBlockBytes];
  MakeIdentityLut(identity, 3, 8);
  if (strength == 0) {
    MakeIdentityLut(block, 3, 8);
    return true;
  }
  if (!EqualizingCurve(source, flag, style, rect, block)) return false;
  const int32_t percent = BlendPercent(flag, style, strength);
  if (percent != 100) PullTowards(block, identity, kBlockBytes, percent);
  return style != 1 || strength < 76 || ChainGamma(1.75 - 0.01 * strength, block);
}

// Levels by the whole picture's percentiles, one pair for all channels, then a gamma.
bool LevelsAndGamma(const ImageDesc* source, double gamma, uint8_t* block) {
  if (!IsUsable(source) || ChannelsOf(source->format) != 3) return false;
  float histogram[3 * kBins];
  int32_t high[3], low[3];
  if (ComputeHistogram(source->data, GeometryOf(*source), nullptr, histogram, true, {false, 500, 500}) == 0 ||
      !HistogramPercentiles(histogram, true, 0, 3, high, low, 0.99, 0.01)) {
    return false;
  }
  const int32_t white = std::max({high[0], high[1], high[2]});
  // Red decides unless it is above both others; not the smallest of the three.
  const int32_t black = std::min(low[0], std::max(low[1], low[2]));
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  return MakeLevelsLut(block, 3, 8, whites, blacks) && ChainGamma(gamma, block);
}

bool LevelsGammaStyle(const ImageDesc* source, int32_t strength, uint8_t* block) {
  return LevelsAndGamma(source, strength <= 50 ? 0.8 + 0.008 * strength : 0.4 + 0.016 * strength, block);
}

struct Chain {
  double gamma;
  int64_t contrast;
};

Chain ChainOf(int64_t s) {
  if (s <= 25) return {1.0 + 0.04 * static_cast<double>(s), 50};
  if (s <= 50) return {2.0, 4 * s / 5 + 30};
  if (s <= 75) return {2.0, 2 * s / 5 + 50};
  if (s <= 90) return {2.0 + 0.1 * static_cast<double>(s - 75), 80};
  return {3.5, s - 10};
}

bool ContrastStyle(const ImageDesc* source, int32_t strength, const ZelRect* rect, uint8_t* block) {
  const Chain chain = ChainOf(strength);
  if (!LevelsAndGamma(source, chain.gamma, block)) return false;
  // The contrast is that of the picture as the curve so far has made it, the whole of it.
  const AppliedCurves curves{block, {0, 0, source->width, source->height}};
  const int32_t level = SmartContrastLevel(static_cast<int32_t>(chain.contrast));
  uint8_t second[kBlockBytes];
  return SmartContrastLut(source, rect, level, second, 3, 8, &curves) && ComposeChannelLut(block, 3, 8, second, 3, 8);
}

}  // namespace

bool ToneEnhancementLut(const ImageDesc* source, int32_t flag, int32_t style, int32_t strength, const ZelRect* rect,
                        uint8_t* block) {
  const bool success = style == 6   ? ContrastStyle(source, strength, rect, block)
                       : style == 4 ? LevelsGammaStyle(source, strength, block)
                                    : EqualizingStyle(source, flag, style, strength, rect, block);
  if (!success) MakeIdentityLut(block, 3, 8);
  return success;
}

bool ToneEnhancement(const ImageDesc* source, const ImageDesc* destination, int32_t flag, int32_t style,
                     int32_t strength, const ZelRect* rect) {
  const WorkTime time;
  uint8_t block[kBlockBytes];
  if (!ToneEnhancementLut(source, flag, style, strength, nullptr, block)) return false;
  const bool done = ApplyChannelLut(source, destination, rect, block, 3, 8);
  time.Report();
  return done;
}

}  // namespace zel
