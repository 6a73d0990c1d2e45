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

// The picture and what the rectangle means in it: to a curve, and to a histogram, which includes the right column and
// the bottom row.
template <class T>
struct Measured {
  View<const T> image;
  Region curve, histogram;
};

bool AutoCurve(const Measured<uint8_t>& source, int32_t core, Curves<uint8_t> curves) {
  return AutoToneCurveRaw(source.image, source.curve, 0.5, 100, core, curves);
}

bool Brightness(const Measured<uint8_t>& source, const AppliedCurves* through, double* mean) {
  float red, green, blue;
  if (!ChannelMeans(source.image, source.histogram, &red, &green, &blue, false, through)) return false;
  *mean = (static_cast<double>(red) + green + blue) * 0.33333334;
  return true;
}

// Style 1: a curve for light pictures. Where it brightened the picture all the same, a gamma takes that back.
bool LightStyle(const Measured<uint8_t>& source, Curves<uint8_t> curves) {
  double before, after;
  if (!Brightness(source, nullptr, &before) || !AutoCurve(source, kToneLight, curves)) return false;
  const AppliedCurves applied{curves, source.curve};
  if (!Brightness(source, &applied, &after)) return false;
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

bool EqualizingCurve(const Measured<uint8_t>& source, int32_t flag, int32_t style, Curves<uint8_t> curves) {
  switch (style) {
    case 0:
      return AutoCurve(source, flag == 1 ? kToneMiddle : kToneChosen, curves);
    case 1:
      return LightStyle(source, curves);
    case 2:
      return AutoCurve(source, kToneNormal, curves);
    case 3:
      return AutoCurve(source, kToneMiddle, curves);
    case 5:
      return AutoCurve(source, kToneDark, curves);
    default:
      return false;
  }
}

bool EqualizingStyle(const Measured<uint8_t>& source, int32_t flag, int32_t style, int32_t strength,
                     Curves<uint8_t> curves) {
  if (!EqualizingCurve(source, flag, style, curves)) return false;
  uint8_t identity[kBlockBytes];
  FillIdentity(Curves<uint8_t>{identity, 3});
  const int32_t percent = BlendPercent(flag, style, strength);
  if (percent != 100) PullTowards(curves.block, identity, kBlockBytes, percent);
  return style != 1 || strength < 76 || ChainGamma(1.75 - 0.01 * strength, curves);
}

// The other styles need 8 bits.
bool EqualizingStyle(const Measured<uint16_t>&, int32_t, int32_t, int32_t, Curves<uint8_t>) {
  return false;
}

// Levels by the whole picture's percentiles, one pair for all channels, then a gamma.
template <class T>
bool LevelsAndGamma(const View<const T>& image, double gamma, Curves<uint8_t> curves) {
  float histogram[3 * kBins];
  int32_t high[3], low[3];
  if (image.channels != 3 || ComputeHistogram(image, image.Whole(), histogram, true, {false, 500, 500}) == 0)
    return false;
  if (!HistogramPercentiles(histogram, true, 0, 3, high, low, 0.99, 0.01)) return false;
  const int32_t white = std::max({high[0], high[1], high[2]});
  // Red decides unless it is above both others; not the smallest of the three.
  const int32_t black = std::min(low[0], std::max(low[1], low[2]));
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  return MakeLevelsLut(curves, whites, blacks) && ChainGamma(gamma, curves);
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

template <class T>
bool ContrastStyle(const Measured<T>& source, int32_t strength, Curves<uint8_t> curves) {
  const Chain chain = ChainOf(strength);
  if (!LevelsAndGamma(source.image, chain.gamma, curves)) return false;
  // The contrast is that of the picture as the curve so far has made it, the whole of it.
  const AppliedCurves applied{curves, source.image.Whole()};
  const int32_t level = SmartContrastLevel(static_cast<int32_t>(chain.contrast));
  uint8_t block[kBlockBytes];
  const Curves<uint8_t> second{block, 3};
  return SmartContrastCurve(source.image, source.histogram, level, second, &applied) &&
         ComposeChannelLut(curves, second);
}

template <class T>
bool CurveOfStyle(const View<const T>& image, const ZelRect* rect, int32_t flag, int32_t style, int32_t strength,
                  Curves<uint8_t> curves) {
  const Measured<T> source = {image, ClampedRegion(rect, image.Whole()), MeasuredRegion(rect, image.Whole())};
  if (style == 6) return ContrastStyle(source, strength, curves);
  if (style != 4) return EqualizingStyle(source, flag, style, strength, curves);
  return LevelsAndGamma(image, strength <= 50 ? 0.8 + 0.008 * strength : 0.4 + 0.016 * strength, curves);
}

}  // namespace

bool ToneEnhancementLut(const ImageDesc* source, int32_t flag, int32_t style, int32_t strength, const ZelRect* rect,
                        uint8_t* block) {
  const Curves<uint8_t> curves{block, 3};
  const bool isIdentity = strength == 0 && style != 4 && style != 6;
  const bool success = isIdentity || WithView(source, [&](const auto& image) {
                         return CurveOfStyle(image, rect, flag, style, strength, curves);
                       });
  if (isIdentity || !success) FillIdentity(curves);
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
