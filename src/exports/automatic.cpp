// The automatic adjustments as exported: required pointers checked, one operation called, its answer turned into a
// result code.
#include <cstring>

#include "color/colorful.h"
#include "color/vivid.h"
#include "exports/entry.h"
#include "retouch/aged_photo.h"
#include "retouch/skin_clear.h"
#include "retouch/skin_flash.h"
#include "retouch/skin_tone.h"
#include "selective/color_cast.h"
#include "tone/color_temperature.h"
#include "tone/smart_contrast.h"
#include "tone/tone_enhancement.h"

using namespace zel;

namespace {

ColorfulStyle StyleOf(int32_t mode) {
  return mode == 1 ? ColorfulStyle::kMasked : ColorfulStyle::kPlain;
}

bool IsSkinCall(const ImageDesc* source, const ImageDesc* destination, int32_t mode) {
  return source != nullptr && destination != nullptr && (mode == 1 || mode == 2);
}

}  // namespace

int32_t ZEL_CALL GetDLLVersion(char* buffer) {
  if (buffer == nullptr) return ZEL_REFUSED;
  std::memcpy(buffer, "2, 1, 0, 2", 11);
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_ToneEnhancement(const ImageDesc* source, const ImageDesc* destination, int32_t flag,
                                               int32_t style, int32_t strength, const ZelRect* rect) {
  if (source == nullptr) return ZEL_NULL_ARGUMENT;
  return ResultOf(ToneEnhancement(source, destination, flag, style, strength, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_SmartContrast(const ImageDesc* source, const ImageDesc* destination, int32_t,
                                             int32_t strength, const ZelRect* rect) {
  if (source == nullptr) return ZEL_NULL_ARGUMENT;
  return ResultOf(SmartContrast(source, destination, strength, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_ColorCast(const ImageDesc* source, const ImageDesc* destination, uint32_t,
                                         int32_t strength, const ZelRect* rect) {
  return ResultOf(RemoveCast(source, destination, strength, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_Colorful(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                        int32_t strength, const ZelRect* rect) {
  if (source == nullptr && strength != 0) return ZEL_NULL_ARGUMENT;
  return ResultOf(Colorful(source, destination, StyleOf(mode), strength, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_Vivid(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                     int32_t strength, const ZelRect* rect) {
  return ResultOf(VividImage(source, destination, rect, mode, strength));
}

int32_t ZEL_CALL ZelTavoraFunc_SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                         const ZelPoint* point, int32_t strength, const ZelRect* rect, uint32_t) {
  if (!IsSkinCall(source, destination, mode)) return ZEL_NULL_ARGUMENT;
  return ResultOf(SkinFlash(source, destination, mode, Given(point), strength, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_GetSkinToneInitialPercentages(const ImageDesc* source, uint32_t, const ZelPoint* point,
                                                             int32_t* lightness, int32_t* blueBalance,
                                                             int32_t* redBalance) {
  SkinPercentages percentages;
  if (!InitialPercentages(source, Given(point), &percentages)) return ZEL_REFUSED;
  if (lightness != nullptr) *lightness = percentages.lightness;
  if (blueBalance != nullptr) *blueBalance = percentages.blueBalance;
  if (redBalance != nullptr) *redBalance = percentages.redBalance;
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_SkinTone(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                        const ZelPoint* point, int32_t lightness, int32_t blueBalance,
                                        int32_t redBalance, const ZelRect* rect) {
  if (!IsSkinCall(source, destination, mode)) return ZEL_NULL_ARGUMENT;
  return ResultOf(SkinTone(source, destination, Given(point), {lightness, blueBalance, redBalance}, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_SkinClear(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                         const ZelPoint* point, int32_t level, const ZelRect* rect) {
  if (!IsSkinCall(source, destination, mode)) return ZEL_NULL_ARGUMENT;
  return ResultOf(SkinClear(source, destination, mode, Given(point), level, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_AgedPhotoRecovered(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                  int32_t strength, const ZelRect* rect) {
  return ResultOf(AgedPhotoRecovered(source, destination, mode, strength, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_ColorTemperature(const ImageDesc* source, const ImageDesc* destination, uint32_t,
                                                int32_t level, const ZelRect* rect, uint32_t) {
  return ResultOf(ColorTemperature(source, destination, rect, TemperatureOfLevel(level)));
}

int32_t ZEL_CALL ZelTavoraFunc_ToneEnhancement_Get1DLut(const ImageDesc* source, int32_t flag, int32_t style,
                                                        int32_t strength, const ZelRect* rect, uint8_t* block) {
  if (source == nullptr || block == nullptr) return ZEL_NULL_ARGUMENT;
  return ResultOf(ToneEnhancementLut(source, flag, style, strength, rect, block));
}

int32_t ZEL_CALL ZelTavoraFunc_SmartContrast_Get1DLut(const ImageDesc* source, int32_t, int32_t strength,
                                                      const ZelRect* rect, uint8_t* block) {
  if (source == nullptr || block == nullptr) return ZEL_NULL_ARGUMENT;
  return ResultOf(SmartContrastTables(source, strength, rect, block));
}

int32_t ZEL_CALL ZelTavoraFunc_ColorCast_Get1DLut(const ImageDesc* source, uint32_t, int32_t strength, uint8_t* block) {
  CorrectCast(source, 0, kKeepAll, strength, block);
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_Colorful_Get3DLut(const ImageDesc* source, int32_t mode, int32_t strength,
                                                 const ZelRect* rect, uint8_t* lattice) {
  if (source == nullptr || lattice == nullptr) return ZEL_NULL_ARGUMENT;
  return ResultOf(ColorfulLattice(source, rect, StyleOf(mode), strength, lattice));
}

int32_t ZEL_CALL ZelTavoraFunc_Colorful_Apply3DLut(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                   int32_t strength, const ZelRect* rect, const uint8_t* lattice) {
  return ResultOf(ApplyColorful(source, destination, rect, StyleOf(mode), strength, lattice));
}
