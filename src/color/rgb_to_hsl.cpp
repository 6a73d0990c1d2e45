#include "color/rgb_to_hsl.h"

#include <algorithm>

namespace zel {

namespace {

// `last` is the largest sample, `split` the lightness from which a colour counts as light.
bool Convert(int32_t last, int32_t split, int32_t red, int32_t green, int32_t blue, int32_t* hue, int32_t* saturation,
             int32_t* lightness) {
  if (hue == nullptr && saturation == nullptr && lightness == nullptr) return false;
  const int32_t high = std::max(red, std::max(green, blue));
  const int32_t low = std::min(red, std::min(green, blue));
  const int32_t delta = high - low, sum = high + low;
  int32_t h = 0, s = 0, l = high;
  if (delta != 0) {
    l = (sum + 1) >> 1;
    s = delta * 100 / (l >= split ? 2 * last - sum : sum);
    if (high == red) {
      h = 60 * (green - blue) / delta;
    } else if (high == green) {
      h = 60 * (blue - red) / delta + 120;
    } else {
      h = 60 * (red - green) / delta + 240;
    }
    if (h < 0) h += 360;
  }
  if (hue != nullptr) *hue = h;
  if (saturation != nullptr) *saturation = s;
  if (lightness != nullptr) *lightness = l;
  return true;
}

}  // namespace

bool RgbToHsl(int32_t red, int32_t green, int32_t blue, int32_t* hue, int32_t* saturation, int32_t* lightness) {
  return Convert(255, 128, red, green, blue, hue, saturation, lightness);
}

bool RgbToHsl16(int32_t red, int32_t green, int32_t blue, int32_t* hue, int32_t* saturation, int32_t* lightness) {
  return Convert(65535, 32768, red, green, blue, hue, saturation, lightness);
}

HueSat PixelHueSat(int32_t red, int32_t green, int32_t blue) {
  HueSat result;
  RgbToHsl(red, green, blue, &result.hue, &result.saturation, nullptr);
  return result;
}

HueSat PixelHueSat16(int32_t red, int32_t green, int32_t blue) {
  HueSat result;
  RgbToHsl16(red, green, blue, &result.hue, &result.saturation, nullptr);
  return result;
}

int32_t PixelHue(int32_t red, int32_t green, int32_t blue) {
  return PixelHueSat(red, green, blue).hue;
}
int32_t PixelHue16(int32_t red, int32_t green, int32_t blue) {
  return PixelHueSat16(red, green, blue).hue;
}
int32_t PixelSat(int32_t red, int32_t green, int32_t blue) {
  return PixelHueSat(red, green, blue).saturation;
}
int32_t PixelSat16(int32_t red, int32_t green, int32_t blue) {
  return PixelHueSat16(red, green, blue).saturation;
}

}  // namespace zel
