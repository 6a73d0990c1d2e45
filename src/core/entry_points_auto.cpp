// The automatic adjustments as exported: arguments checked, one operation called, its answer turned into a result code.
#include <algorithm>
#include <cstring>

#include "color/color_lattice.h"
#include "color/colorful.h"
#include "color/vivid.h"
#include "core/channel_lut.h"
#include "core/entry.h"
#include "core/platform.h"
#include "retouch/aged_photo.h"
#include "retouch/skin_clear.h"
#include "retouch/skin_flash.h"
#include "retouch/skin_tone.h"
#include "selective/color_cast.h"
#include "selective/region_points.h"
#include "selective/region_tone.h"
#include "tone/smart_contrast.h"
#include "tone/tone_enhancement.h"

using namespace zel;

namespace {

// A curve from a _Get1DLut function applied to the rectangle.
int32_t Apply(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const uint8_t* block) {
  return ResultOf(ApplyChannelLut(source, destination, rect, block, 3, 8));
}

ColorfulStyle StyleOf(int32_t mode) {
  return mode == 1 ? ColorfulStyle::kMasked : ColorfulStyle::kPlain;
}

int32_t Limited(int64_t value) {
  return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(value, INT32_MIN), INT32_MAX));
}

// Tenths of a pixel for a level; mode 2 starts gently and then catches up with mode 1.
int32_t SkinClearWidth(int32_t mode, int64_t level) {
  return Limited(mode == 1 ? 6 * level / 5 : level < 51 ? 4 * level / 5 : (8 * level - 400) / 5 + 40);
}

}  // namespace

int32_t ZEL_CALL GetDLLVersion(char* buffer) {
  if (buffer == nullptr) return ZEL_REFUSED;
  std::memcpy(buffer, "2, 1, 0, 2", 11);
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_ToneEnhancement(const ImageDesc* source, const ImageDesc* destination, int32_t flag,
                                               int32_t style, int32_t strength, const ZelRect* rect) {
  const uint32_t start = TickCount();
  uint8_t block[ZEL_LUT1D_BYTES];
  int32_t result = ZelTavoraFunc_ToneEnhancement_Get1DLut(source, flag, style, strength, nullptr, block);
  if (result != ZEL_OK) return result;
  result = Apply(source, destination, rect, block);
  ReportTime(start);
  return result;
}

int32_t ZEL_CALL ZelTavoraFunc_SmartContrast(const ImageDesc* source, const ImageDesc* destination, int32_t reserved,
                                             int32_t strength, const ZelRect* rect) {
  if (source == nullptr) return ZEL_NULL_ARGUMENT;
  if (strength == 0) return ZeroStrengthCopy(source, destination, rect);
  const uint32_t start = TickCount();
  uint8_t block[ZEL_LUT1D_BYTES];
  int32_t result = ZelTavoraFunc_SmartContrast_Get1DLut(source, reserved, strength, nullptr, block);
  if (result != ZEL_OK) return result;
  result = Apply(source, destination, rect, block);
  ReportTime(start);
  return result;
}

int32_t ZEL_CALL ZelTavoraFunc_ColorCast(const ImageDesc* source, const ImageDesc* destination, uint32_t reserved,
                                         int32_t strength, const ZelRect* rect) {
  uint8_t block[ZEL_LUT1D_BYTES];
  MakeIdentityLut(block, 3, 8);
  ZelTavoraFunc_ColorCast_Get1DLut(source, reserved, strength, block);
  return Apply(source, destination, rect, block);
}

int32_t ZEL_CALL ZelTavoraFunc_Colorful(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                        int32_t strength, const ZelRect* rect) {
  if (strength == 0) return ZEL_OK;
  const uint32_t start = TickCount();
  uint8_t lattice[ZEL_LUT3D_BYTES];
  int32_t result = ZelTavoraFunc_Colorful_Get3DLut(source, mode, strength, nullptr, lattice);
  if (result == ZEL_OK) {
    result = ZelTavoraFunc_Colorful_Apply3DLut(source, destination, mode, strength, rect, lattice);
  }
  if (result != ZEL_OK) {
    CopyOfRefused(source, destination, rect);
    return result;
  }
  ReportTime(start);
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_Vivid(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                     int32_t strength, const ZelRect* rect) {
  const uint32_t start = TickCount();
  const bool done = VividImage(source, destination, rect, mode, strength);
  ReportTime(start);
  return ResultOf(done);
}

int32_t ZEL_CALL ZelTavoraFunc_SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                         const ZelPoint* point, int32_t strength, const ZelRect* rect, uint32_t) {
  if (source == nullptr || destination == nullptr || (mode != 1 && mode != 2)) return ZEL_NULL_ARGUMENT;
  if (!HasPoint(point)) return ResultOf(SkinFlashCorrect(source, destination, rect, strength, 3.0));
  if (!IsSkinPoint(source, point)) return ZeroStrengthCopy(source, destination, rect);
  const int32_t applied = mode == 1 ? strength : Limited(static_cast<int64_t>(strength) * 3 / 4);
  return ResultOf(SeededToneEnhance(source, destination, *point, applied, rect));
}

int32_t ZEL_CALL ZelTavoraFunc_GetSkinToneInitialPercentages(const ImageDesc* source, uint32_t, const ZelPoint* point,
                                                             int32_t* lightness, int32_t* blueBalance,
                                                             int32_t* redBalance) {
  Rgb skin = kTypicalSkin;
  if (HasPoint(point) && !SamplePixel(source, point->x, point->y, &skin)) return ZEL_REFUSED;
  const SkinPercentages percentages = PercentagesOf(skin);
  if (lightness != nullptr) *lightness = percentages.lightness;
  if (blueBalance != nullptr) *blueBalance = percentages.blueBalance;
  if (redBalance != nullptr) *redBalance = percentages.redBalance;
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_SkinTone(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                        const ZelPoint* point, int32_t lightness, int32_t blueBalance,
                                        int32_t redBalance, const ZelRect* rect) {
  if (source == nullptr || destination == nullptr || (mode != 1 && mode != 2)) return ZEL_NULL_ARGUMENT;
  if (!HasPoint(point)) point = nullptr;
  Rgb skin = kTypicalSkin;
  if (point != nullptr && !SamplePixel(source, point->x, point->y, &skin)) return ZEL_REFUSED;
  // Whether the image could be corrected is not reported.
  SkinToneCorrect(source, destination, rect, point, skin, ComplementTarget({lightness, blueBalance, redBalance}));
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_SkinClear(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                         const ZelPoint* point, int32_t level, const ZelRect* rect) {
  if (source == nullptr || destination == nullptr || (mode != 1 && mode != 2)) return ZEL_NULL_ARGUMENT;
  const int32_t k = SkinClearWidth(mode, level);
  if (k == 0) return ZeroStrengthCopy(source, destination, rect);
  return ResultOf(SkinClearCorrect(source, destination, rect, k, HasPoint(point) ? point : nullptr));
}

int32_t ZEL_CALL ZelTavoraFunc_AgedPhotoRecovered(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                  int32_t strength, const ZelRect* rect) {
  const uint32_t start = TickCount();
  if (mode == 1) strength = static_cast<int32_t>(static_cast<int64_t>(strength) * 3 / 4);
  if (strength == 0) return ZeroStrengthCopy(source, destination, rect);
  if (!RecoverAgedPhoto(source, destination, strength, rect)) return ZEL_REFUSED;
  ReportTime(start);
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_ColorTemperature(const ImageDesc* source, const ImageDesc* destination, uint32_t,
                                                int32_t level, const ZelRect* rect, uint32_t) {
  const int64_t temperature = 2 * static_cast<int64_t>(level) - 100;
  const int64_t limited = temperature > INT32_MAX ? INT32_MAX : temperature < INT32_MIN ? INT32_MIN : temperature;
  return ZelBasicToolFunc_ColorTemperature(source, destination, static_cast<int32_t>(limited), rect);
}

int32_t ZEL_CALL ZelTavoraFunc_ToneEnhancement_Get1DLut(const ImageDesc* source, int32_t flag, int32_t style,
                                                        int32_t strength, const ZelRect* rect, uint8_t* block) {
  if (source == nullptr || block == nullptr) return ZEL_NULL_ARGUMENT;
  return ResultOf(ToneEnhancementLut(source, flag, style, strength, rect, block));
}

int32_t ZEL_CALL ZelTavoraFunc_SmartContrast_Get1DLut(const ImageDesc* source, int32_t, int32_t strength,
                                                      const ZelRect* rect, uint8_t* block) {
  if (source == nullptr || block == nullptr) return ZEL_NULL_ARGUMENT;
  if (strength != 0 && SmartContrastLut(source, rect, SmartContrastLevel(strength), block, 3, 8)) return ZEL_OK;
  MakeIdentityLut(block, 3, 8);
  return ResultOf(strength == 0);
}

int32_t ZEL_CALL ZelTavoraFunc_ColorCast_Get1DLut(const ImageDesc* source, uint32_t, int32_t strength, uint8_t* block) {
  CorrectCast(source, 0, kKeepAll, strength, block);
  return ZEL_OK;
}

int32_t ZEL_CALL ZelTavoraFunc_Colorful_Get3DLut(const ImageDesc* source, int32_t mode, int32_t strength,
                                                 const ZelRect* rect, uint8_t* lattice) {
  if (source == nullptr || lattice == nullptr) return ZEL_NULL_ARGUMENT;
  if (strength == 0) {
    MakeColorLattice(lattice, 8);
    return ZEL_OK;
  }
  return ResultOf(ColorfulLattice(source, rect, StyleOf(mode), strength, lattice));
}

int32_t ZEL_CALL ZelTavoraFunc_Colorful_Apply3DLut(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                   int32_t strength, const ZelRect* rect, const uint8_t* lattice) {
  return ResultOf(ApplyColorful(source, destination, rect, StyleOf(mode), strength, lattice));
}
