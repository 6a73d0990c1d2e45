#include "color/adjust_hsl.h"

#include <algorithm>

namespace zel {

namespace {

// `split` is the last dark lightness, `last` the largest sample.
AdjustHsl Analyse(int32_t red, int32_t green, int32_t blue, int32_t split, int32_t last) {
  const int32_t high = std::max(red, std::max(green, blue));
  const int32_t low = std::min(red, std::min(green, blue));
  const int32_t sum = high + low, delta = high - low;
  const int32_t lightness = (sum + 1) >> 1;
  if (delta == 0) return {kAchromatic, 0, lightness, 0};
  const int32_t saturation = delta * 100 / (lightness > split ? 2 * last - sum : sum);
  int32_t hue;
  if (high == red) {
    hue = (green - blue) * 60 / delta;
  } else if (high == green) {
    hue = (blue - red) * 60 / delta + 120;
  } else {
    hue = (red - green) * 60 / delta + 240;
  }
  if (hue < 0) hue += 360;
  return {hue, saturation, lightness, delta};
}

int32_t WrappedHue(int32_t hue) {
  if (hue >= 360) return hue % 360;
  if (hue < 0) return hue + 360 * ((359 - hue) / 360);
  return hue;
}

// The highest channel; m1, the lowest, mirrors it at the lightness.
int32_t HighestChannel(const AdjustHsl& hsl) {
  const int32_t l = hsl.lightness, s = hsl.saturation;
  return l > 128 ? l + ((255 - l) * s + 50) / 100 : ((s + 100) * l + 50) / 100;
}

}  // namespace

AdjustHsl AnalyseHsl(int32_t red, int32_t green, int32_t blue) {
  return Analyse(red, green, blue, 128, 255);
}

AdjustHsl AnalyseHsl16(int32_t red, int32_t green, int32_t blue) {
  return Analyse(red, green, blue, 32768, 65535);
}

uint8_t HueToChannel(int16_t m1, int16_t m2, int16_t hue) {
  const int32_t h = WrappedHue(hue), range = m2 - m1;
  int32_t v = m1;
  if (h < 60) {
    v = m1 + range * h / 60;
  } else if (h < 180) {
    v = m2;
  } else if (h < 240) {
    v = m1 + range * (240 - h) / 60;
  }
  return static_cast<uint8_t>(std::min(std::max(v, 0), 255));
}

int16_t HueToChannel16(int16_t m1, int16_t m2, int16_t hue) {
  const int32_t h = WrappedHue(hue), range = m2 - m1;
  int32_t v = m1;
  if (h < 60) {
    v = m1 + static_cast<int16_t>(range * h / 60);
  } else if (h < 180) {
    v = m2;
  } else if (h < 240) {
    v = m1 + static_cast<int16_t>(range * (240 - h) / 60);
  }
  return static_cast<int16_t>(std::min(std::max(v, 0), 65535));
}

void SynthesiseHsl(const AdjustHsl& hsl, int32_t out[3]) {
  if (hsl.hue == kAchromatic) {
    out[0] = out[1] = out[2] = hsl.lightness;
    return;
  }
  const int32_t m2 = HighestChannel(hsl), m1 = 2 * hsl.lightness - m2;
  for (int32_t k = 0; k < 3; ++k) {
    out[k] =
        HueToChannel(static_cast<int16_t>(m1), static_cast<int16_t>(m2), static_cast<int16_t>(hsl.hue + 120 - 120 * k));
  }
}

void SynthesiseHsl16(const AdjustHsl& hsl, int32_t out[3]) {
  const int32_t m2 = HighestChannel(hsl), m1 = 2 * hsl.lightness - m2;
  for (int32_t k = 0; k < 3; ++k) {
    const int32_t v = hsl.hue == kAchromatic ? static_cast<int16_t>(hsl.lightness)
                                             : HueToChannel16(static_cast<int16_t>(m1), static_cast<int16_t>(m2),
                                                              static_cast<int16_t>(hsl.hue + 120 - 120 * k));
    out[k] = std::max(v, 0);
  }
}

int32_t NormalisedHueShift(int64_t shift) {
  if (shift > 360) shift -= 360 * ((shift - 1) / 360);
  if (shift < 0) shift += 360 * ((359 - shift) / 360);
  return static_cast<int32_t>(shift);
}

}  // namespace zel
