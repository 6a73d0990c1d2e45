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

bool ChainGamma(double gamma, Curves<uint8_t> curves) {
  const float g = static_cast<float>(gamma);
  const float gammas[3] = {g, g, g};
  uint8_t block[kBlockBytes];
  const Curves<uint8_t> second{block, 3};
  return MakeGammaLut(second, gammas) && ComposeChannelLut(curves, second);
}

bool AutoCurve(const ImageDesc* source, const ZelRect* rect, int32_t core, Curves<uint8_t> curves) {
  return AutoToneCurve(source, rect, 0.5, 100, core, curves);
}

bool Brightness(const ImageDesc* source, const ZelRect* rect, const AppliedCurves* through, double* mean) {
  float red, green, blue;
  const bool done = WithView(source, [&](const auto& image) {
    return ChannelMeans(image, MeasuredRegion(rect, image.width, image.height), &red, &green, &blue, false, through);
  });
  if (done) *mean = (static_cast<double>(red) + green + blue) * 0.33333334;
  return done;
}

// Style 1: a curve for light pictures. Where it brightened the picture all the same, a gamma takes that back.
bool LightStyle(const ImageDesc* source, const ZelRect* rect, Curves<uint8_t> curves) {
  double before, after;
  if (!Brightness(source, rect, nullptr, &before) || !AutoCurve(source, rect, kToneLight, curves)) return false;
  // The histogram includes the rectangle's right column and bottom row, the curve does not.
  const AppliedCurves applied{curves, ClampedRegion(rect, source->width, source->height)};
  if (!Brightness(source, rect, &applied, &after)) return false;
  if (after <= before) return true;
  if (before == 0.0) {
    FillIdentity(curves);
    return true;
  }
  // The second logarithm takes the mean on its scale of 0 to 255, so that the quotient is negative and the limit of 0.5
  // holds for all but nearly black pictures.
  double gamma = std::log(after * 0.00392156862745098) / std::log(before);
  if (gamma > 1.0) gamma = 1.0;
  if (!(gamma >= 0.5)) gamma = 0.5;
  return ChainGamma(gamma, curves);
}

// Per cent of the curve that is used.
int32_t BlendPercent(int32_t flag, int32_t style, int32_t strength) {
  const int64_t s = strength;
  if (flag == 1) return static_cast<int32_t>((3 * s) >> 2);
  if (style != 1 || s <= 50) return strength;
  return static_cast<int32_t>(s <= 75 ? 2 * s - 50 : 100);
}

bool EqualizingCurve(const ImageDesc* source, int32_t flag, int32_t style, const ZelRect* rect,
                     Curves<uint8_t> curves) {
  switch (style) {
    case 0:
      return AutoCurve(source, rect, flag == 1 ? kToneMiddle : kToneChosen, curves);
    case 1:
      return LightStyle(source, rect, curves);
    case 2:
      return AutoCurve(source, rect, kToneNormal, curves);
    case 3:
      return AutoCurve(source, rect, kToneMiddle, curves);
    case 5:
      return AutoCurve(source, rect, kToneDark, curves);
    default:
      return false;
  }
}

bool EqualizingStyle(const ImageDesc* source, int32_t flag, int32_t style, int32_t strength, const ZelRect* rect,
                     Curves<uint8_t> curves) {
  uint8_t identity[kBlockBytes];
  FillIdentity(Curves<uint8_t>{identity, 3});
  if (strength == 0) {
    FillIdentity(curves);
    return true;
  }
  if (!EqualizingCurve(source, flag, style, rect, curves)) return false;
  const int32_t percent = BlendPercent(flag, style, strength);
  if (percent != 100) PullTowards(curves.block, identity, kBlockBytes, percent);
  return style != 1 || strength < 76 || ChainGamma(1.75 - 0.01 * strength, curves);
}

// Levels by the whole picture's percentiles, one pair for all channels, then a gamma.
bool LevelsAndGamma(const ImageDesc* source, double gamma, Curves<uint8_t> curves) {
  float histogram[3 * kBins];
  int32_t high[3], low[3];
  const bool measured = WithView(source, [&](const auto& image) {
    return image.channels == 3 && ComputeHistogram(image, image.Whole(), histogram, true, {false, 500, 500}) != 0;
  });
  if (!measured || !HistogramPercentiles(histogram, true, 0, 3, high, low, 0.99, 0.01)) return false;
  const int32_t white = std::max({high[0], high[1], high[2]});
  // Red decides unless it is above both others; not the smallest of the three.
  const int32_t black = std::min(low[0], std::max(low[1], low[2]));
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  return MakeLevelsLut(curves, whites, blacks) && ChainGamma(gamma, curves);
}

bool LevelsGammaStyle(const ImageDesc* source, int32_t strength, Curves<uint8_t> curves) {
  return LevelsAndGamma(source, strength <= 50 ? 0.8 + 0.008 * strength : 0.4 + 0.016 * strength, curves);
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

bool ContrastStyle(const ImageDesc* source, int32_t strength, const ZelRect* rect, Curves<uint8_t> curves) {
  const Chain chain = ChainOf(strength);
  if (!LevelsAndGamma(source, chain.gamma, curves)) return false;
  // The contrast is that of the picture as the curve so far has made it, the whole of it.
  const AppliedCurves applied{curves, {0, 0, source->width, source->height}};
  const int32_t level = SmartContrastLevel(static_cast<int32_t>(chain.contrast));
  uint8_t block[kBlockBytes];
  const Curves<uint8_t> second{block, 3};
  return SmartContrastLut(source, rect, level, second, &applied) && ComposeChannelLut(curves, second);
}

}  // namespace

bool ToneEnhancementLut(const ImageDesc* source, int32_t flag, int32_t style, int32_t strength, const ZelRect* rect,
                        uint8_t* block) {
  const Curves<uint8_t> curves{block, 3};
  const bool success = style == 6   ? ContrastStyle(source, strength, rect, curves)
                       : style == 4 ? LevelsGammaStyle(source, strength, curves)
                                    : EqualizingStyle(source, flag, style, strength, rect, curves);
  if (!success) FillIdentity(curves);
  return success;
}

bool ToneEnhancement(const ImageDesc* source, const ImageDesc* destination, int32_t flag, int32_t style,
                     int32_t strength, const ZelRect* rect) {
  const WorkTime time;
  uint8_t block[kBlockBytes];
  if (!ToneEnhancementLut(source, flag, style, strength, nullptr, block)) return false;
  const bool done = ApplyChannelLut(source, destination, rect, Curves<uint8_t>{block, 3});
  time.Report();
  return done;
}

}  // namespace zel
