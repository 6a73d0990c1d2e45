// The manual tools as exported: settings clamped, one operation called, its answer turned into a result code.
#include <algorithm>

#include "color/hue_saturation.h"
#include "color/hue_saturation_ranges.h"
#include "exports/entry.h"
#include "filter/gaussian_blur.h"
#include "filter/sharpen.h"
#include "filter/unsharp_mask.h"
#include "retouch/denoise.h"
#include "selective/color_cast.h"
#include "selective/light_correct.h"
#include "selective/region_colorful.h"
#include "selective/region_tone.h"
#include "tone/color_temperature.h"
#include "tone/contrast_brightness.h"
#include "tone/gamma.h"
#include "tone/highlight_shadow.h"

using namespace zel;

namespace {

int32_t Within(int32_t value, int32_t low, int32_t high) {
  return std::min(std::max(value, low), high);
}

}  // namespace

int32_t ZEL_CALL ZelBasicToolFunc_ColorTemperature(const ImageDesc* source, const ImageDesc* destination,
                                                   int32_t temperature, const ZelRect* rect) {
  return ResultOf(ColorTemperature(source, destination, rect, temperature));
}

int32_t ZEL_CALL ZelBasicToolFunc_ContrastBrightness(const ImageDesc* source, const ImageDesc* destination,
                                                     int32_t contrast, int32_t brightness, const ZelRect* rect) {
  const int32_t contrasts[3] = {contrast, contrast, contrast};
  const int32_t brightnesses[3] = {brightness, brightness, brightness};
  return ResultOf(ContrastBrightness(source, destination, rect, contrasts, brightnesses));
}

int32_t ZEL_CALL ZelBasicToolFunc_Gamma(const ImageDesc* source, const ImageDesc* destination, const float* gamma,
                                        const ZelRect* rect) {
  return ResultOf(GammaCorrect(source, destination, rect, gamma));
}

int32_t ZEL_CALL ZelBasicToolFunc_HighlightShadow(const ImageDesc* source, const ImageDesc* destination,
                                                  const int32_t* highlight, const int32_t* shadow,
                                                  const ZelRect* rect) {
  return ResultOf(HighlightShadow(source, destination, rect, highlight, shadow, 255));
}

int32_t ZEL_CALL ZelBasicToolFunc_HueSaturation(const ImageDesc* source, const ImageDesc* destination, int32_t hue,
                                                int32_t saturation, const ZelRect* rect) {
  return ResultOf(
      ApplyHueSaturation(source, destination, rect, Within(hue, -180, 180), Within(saturation, -100, 100), true));
}

int32_t ZEL_CALL ZelBasicToolFunc_HueSaturationPro(const ImageDesc* source, const ImageDesc* destination,
                                                   const int32_t* hues, const int32_t* saturations,
                                                   const ZelRect* rect) {
  if (hues == nullptr || saturations == nullptr) return ZEL_REFUSED;
  RangeSettings settings;
  for (int32_t i = 0; i < 7; ++i) {
    const int32_t most = i == 0 ? 180 : 60;
    settings.hue[i] = Within(hues[i], -most, most);
    settings.saturation[i] = Within(saturations[i], -100, 100);
  }
  return ResultOf(ApplyHueSaturationRanges(source, destination, rect, settings, true));
}

int32_t ZEL_CALL ZelBasicToolFunc_ColorCorrect(const ImageDesc* source, const ImageDesc* destination, int32_t colour,
                                               int32_t strength) {
  return ResultOf(RemoveCastOfColour(source, destination, colour, strength));
}

int32_t ZEL_CALL ZelBasicToolFunc_LightCorrect(const ImageDesc* source, const ImageDesc* destination,
                                               int32_t strength) {
  return ResultOf(LightCorrect(source, destination, strength));
}

int32_t ZEL_CALL ZelBasicToolFunc_ColorCastManual(const ImageDesc* source, const ImageDesc* destination,
                                                  int32_t strength, const ZelRect* rect) {
  return ResultOf(CorrectMarkedCast(source, destination, strength, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_FoliageColorful(const ImageDesc* source, const ImageDesc* destination,
                                                  const ZelPoint* point, int32_t amount, const ZelRect* rect,
                                                  uint32_t) {
  return ResultOf(RegionColourful(source, destination, kFoliage, Given(point), amount, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_FoliageTone(const ImageDesc* source, const ImageDesc* destination,
                                              const ZelPoint* point, int32_t amount, const ZelRect* rect, uint32_t) {
  return ResultOf(RegionTone(source, destination, kFoliage, Given(point), amount, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_SkyColorful(const ImageDesc* source, const ImageDesc* destination,
                                              const ZelPoint* point, int32_t amount, const ZelRect* rect, uint32_t) {
  return ResultOf(RegionColourful(source, destination, kSky, Given(point), amount, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_SkyTone(const ImageDesc* source, const ImageDesc* destination, const ZelPoint* point,
                                          int32_t amount, const ZelRect* rect, uint32_t) {
  return ResultOf(RegionTone(source, destination, kSky, Given(point), amount, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_SkinColorful(const ImageDesc* source, const ImageDesc* destination,
                                               const ZelPoint* point, int32_t amount, const ZelRect* rect, uint32_t) {
  return ResultOf(RegionColourful(source, destination, kSkin, Given(point), amount, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_DeNoise(const ImageDesc* source, const ImageDesc* destination, uint32_t strength,
                                          const ZelRect* rect) {
  return ResultOf(Denoise(source, destination, strength, rect));
}

int32_t ZEL_CALL ZelBasicToolFunc_Sharpen(const ImageDesc* source, const ImageDesc* destination, int32_t amount,
                                          const ZelRect* rect) {
  return ResultOf(Sharpen(source, destination, rect, amount));
}

int32_t ZEL_CALL ZelBasicToolFunc_GaussianBlur(const ImageDesc* source, const ImageDesc* destination, float radius,
                                               const ZelRect* rect) {
  return ResultOf(GaussianBlur(source, destination, rect, radius));
}

int32_t ZEL_CALL ZelBasicToolFunc_UnsharpMask(const ImageDesc* source, const ImageDesc* destination, int32_t amount,
                                              float radius, uint32_t threshold, const ZelRect* rect) {
  return ResultOf(UnsharpMask(source, destination, rect, amount, radius, threshold));
}
