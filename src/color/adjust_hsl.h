// Hue, saturation and lightness as the colour adjustments see them: hue and saturation in whole degrees and per cent,
// lightness on the samples' own scale. The cast detector and the region masks use the other model of rgb_to_hsl.h,
// which draws the line between dark and light one level lower.
#ifndef ZEL_COLOR_ADJUST_HSL_H_
#define ZEL_COLOR_ADJUST_HSL_H_

#include <cstdint>

namespace zel {

constexpr int32_t kAchromatic = 9999;  // the hue of a grey

struct AdjustHsl {
  int32_t hue;         // 0 to 359, or kAchromatic; adding a shift of 0 to 360 is fine
  int32_t saturation;  // 0 to 100
  int32_t lightness;   // (max + min + 1) / 2
  int32_t delta;       // max - min, 0 for grey
};

// Divisions truncate towards zero; red wins ties, then green.
AdjustHsl AnalyseHsl(int32_t red, int32_t green, int32_t blue);
AdjustHsl AnalyseHsl16(int32_t red, int32_t green, int32_t blue);

// The colour of hue, saturation and lightness, clamped to the samples' range, into out[0] red, out[1] green, out[2]
// blue. The 16-bit form is only right for dark colours: it keeps the 8-bit constants 128 and 255 and reads
// intermediate results as signed 16-bit numbers. Images of 16 bits therefore go through an 8-bit lattice, and this form
// stays as it is because its results are promised.
void SynthesiseHsl(const AdjustHsl& hsl, int32_t out[3]);
void SynthesiseHsl16(const AdjustHsl& hsl, int32_t out[3]);

// One channel on the hexagon between m1 (lowest) and m2 (highest); any hue, wrapped. The 16-bit form answers what is
// left of the value in a signed 16-bit number.
uint8_t HueToChannel(int16_t m1, int16_t m2, int16_t hue);
int16_t HueToChannel16(int16_t m1, int16_t m2, int16_t hue);

// A hue shift of any size brought to 0..360.
int32_t NormalisedHueShift(int64_t shift);

}  // namespace zel

#endif  // ZEL_COLOR_ADJUST_HSL_H_
