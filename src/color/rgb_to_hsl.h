// Hue, saturation and lightness as the cast detector and the region masks see them. The manual colour tools use another
// model of their own.
#ifndef ZEL_COLOR_RGB_TO_HSL_H_
#define ZEL_COLOR_RGB_TO_HSL_H_

#include <cstdint>

namespace zel {

// Hue in whole degrees 0 to 359, saturation in per cent, lightness on the samples' scale; all divisions truncate, red
// wins ties, then green. Grey has hue 0 and saturation 0. Outputs may be null; false when all are.
bool RgbToHsl(int32_t red, int32_t green, int32_t blue, int32_t* hue, int32_t* saturation, int32_t* lightness);
bool RgbToHsl16(int32_t red, int32_t green, int32_t blue, int32_t* hue, int32_t* saturation, int32_t* lightness);

struct HueSat {
  int32_t hue, saturation;
};

HueSat PixelHueSat(int32_t red, int32_t green, int32_t blue);
HueSat PixelHueSat16(int32_t red, int32_t green, int32_t blue);
// One of the two; the 16-bit forms and the saturation alone serve no export, only who looks at single colours.
int32_t PixelHue(int32_t red, int32_t green, int32_t blue);
int32_t PixelHue16(int32_t red, int32_t green, int32_t blue);
int32_t PixelSat(int32_t red, int32_t green, int32_t blue);
int32_t PixelSat16(int32_t red, int32_t green, int32_t blue);

}  // namespace zel

#endif  // ZEL_COLOR_RGB_TO_HSL_H_
