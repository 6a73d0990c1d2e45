// Every export at every kernel level, under names of the form zel/<operation>/<size>/<bits>/<level>.
#include <benchmark/benchmark.h>

#include <functional>

#include "photo.h"
#include "registration.h"
#include "simd/kernels.h"

namespace zel::bench {

namespace {

using Call = std::function<int32_t(const ImageDesc*, const ImageDesc*)>;

struct Operation {
  const char* name;
  bool sixteenBits;
  Call call;
};

const float kGamma[3] = {1.4f, 1.5f, 1.6f};
const float kEqualGamma[3] = {1.4f, 1.4f, 1.4f};
const int32_t kHighlight[3] = {230, 240, 250}, kShadow[3] = {10, 5, 20};
const int32_t kHues[7] = {5, 10, -10, 20, 0, -20, 15}, kSaturations[7] = {10, 20, -10, 30, 0, 10, -20};

// A pixel of the area that a tool wants: 0 sky, 1 foliage, 2 skin.
ZelPoint PointIn(const ImageDesc* image, int area) {
  return {image->width * (2 * area + 1) / 8, image->height / 8};
}

const std::vector<Operation>& Operations() {
  static uint8_t block[ZEL_LUT1D_BYTES], lattice[ZEL_LUT3D_BYTES];
  static const std::vector<Operation> operations = {
      {"contrast", true, [](auto s, auto d) { return ZelBasicToolFunc_ContrastBrightness(s, d, 30, 5, nullptr); }},
      {"gamma", true, [](auto s, auto d) { return ZelBasicToolFunc_Gamma(s, d, kGamma, nullptr); }},
      {"gamma-equal", true, [](auto s, auto d) { return ZelBasicToolFunc_Gamma(s, d, kEqualGamma, nullptr); }},
      {"levels", true,
       [](auto s, auto d) { return ZelBasicToolFunc_HighlightShadow(s, d, kHighlight, kShadow, nullptr); }},
      {"temperature", true, [](auto s, auto d) { return ZelBasicToolFunc_ColorTemperature(s, d, 40, nullptr); }},
      {"temperature-level", true,
       [](auto s, auto d) { return ZelTavoraFunc_ColorTemperature(s, d, 0, 70, nullptr, 0); }},
      {"hue-saturation", true, [](auto s, auto d) { return ZelBasicToolFunc_HueSaturation(s, d, 20, 30, nullptr); }},
      {"hue-saturation-ranges", true,
       [](auto s, auto d) { return ZelBasicToolFunc_HueSaturationPro(s, d, kHues, kSaturations, nullptr); }},
      {"color-correct", false, [](auto s, auto d) { return ZelBasicToolFunc_ColorCorrect(s, d, 0, 80); }},
      {"light-correct", true, [](auto s, auto d) { return ZelBasicToolFunc_LightCorrect(s, d, 80); }},
      {"cast-manual", false, [](auto s, auto d) { return ZelBasicToolFunc_ColorCastManual(s, d, 80, nullptr); }},
      {"blur-1", true, [](auto s, auto d) { return ZelBasicToolFunc_GaussianBlur(s, d, 1.0f, nullptr); }},
      {"blur-3", true, [](auto s, auto d) { return ZelBasicToolFunc_GaussianBlur(s, d, 3.0f, nullptr); }},
      {"blur-10", true, [](auto s, auto d) { return ZelBasicToolFunc_GaussianBlur(s, d, 10.0f, nullptr); }},
      {"sharpen", false, [](auto s, auto d) { return ZelBasicToolFunc_Sharpen(s, d, 50, nullptr); }},
      {"unsharp", true, [](auto s, auto d) { return ZelBasicToolFunc_UnsharpMask(s, d, 80, 2.0f, 3, nullptr); }},
      {"denoise", false, [](auto s, auto d) { return ZelBasicToolFunc_DeNoise(s, d, 50, nullptr); }},
      {"foliage-colorful", false,
       [](auto s, auto d) { return ZelBasicToolFunc_FoliageColorful(s, d, nullptr, 60, nullptr, 0); }},
      {"sky-colorful", false,
       [](auto s, auto d) { return ZelBasicToolFunc_SkyColorful(s, d, nullptr, 60, nullptr, 0); }},
      {"skin-colorful", false,
       [](auto s, auto d) { return ZelBasicToolFunc_SkinColorful(s, d, nullptr, 60, nullptr, 0); }},
      {"foliage-tone", false,
       [](auto s, auto d) {
         const ZelPoint point = PointIn(s, 1);
         return ZelBasicToolFunc_FoliageTone(s, d, &point, 60, nullptr, 0);
       }},
      {"sky-tone", false,
       [](auto s, auto d) {
         const ZelPoint point = PointIn(s, 0);
         return ZelBasicToolFunc_SkyTone(s, d, &point, 60, nullptr, 0);
       }},
      {"tone", false, [](auto s, auto d) { return ZelTavoraFunc_ToneEnhancement(s, d, 0, 0, 80, nullptr); }},
      {"smart-contrast", true, [](auto s, auto d) { return ZelTavoraFunc_SmartContrast(s, d, 0, 60, nullptr); }},
      {"color-cast", false, [](auto s, auto d) { return ZelTavoraFunc_ColorCast(s, d, 0, 80, nullptr); }},
      {"colorful", true, [](auto s, auto d) { return ZelTavoraFunc_Colorful(s, d, 0, 60, nullptr); }},
      {"colorful-masked", false, [](auto s, auto d) { return ZelTavoraFunc_Colorful(s, d, 1, 60, nullptr); }},
      {"vivid", false, [](auto s, auto d) { return ZelTavoraFunc_Vivid(s, d, 1, 30, nullptr); }},
      {"skin-flash", false, [](auto s, auto d) { return ZelTavoraFunc_SkinFlash(s, d, 1, nullptr, 60, nullptr, 0); }},
      {"skin-tone", false,
       [](auto s, auto d) { return ZelTavoraFunc_SkinTone(s, d, 1, nullptr, 60, 70, 20, nullptr); }},
      {"skin-clear", false, [](auto s, auto d) { return ZelTavoraFunc_SkinClear(s, d, 1, nullptr, 50, nullptr); }},
      {"aged-photo", true, [](auto s, auto d) { return ZelTavoraFunc_AgedPhotoRecovered(s, d, 0, 60, nullptr); }},
      {"tone-lut", false,
       [](auto s, auto) { return ZelTavoraFunc_ToneEnhancement_Get1DLut(s, 0, 0, 80, nullptr, block); }},
      {"tone-lut-style-1", false,
       [](auto s, auto) { return ZelTavoraFunc_ToneEnhancement_Get1DLut(s, 0, 1, 80, nullptr, block); }},
      {"tone-lut-style-6", false,
       [](auto s, auto) { return ZelTavoraFunc_ToneEnhancement_Get1DLut(s, 0, 6, 80, nullptr, block); }},
      {"smart-contrast-lut", true,
       [](auto s, auto) { return ZelTavoraFunc_SmartContrast_Get1DLut(s, 0, 60, nullptr, block); }},
      {"color-cast-lut", false, [](auto s, auto) { return ZelTavoraFunc_ColorCast_Get1DLut(s, 0, 80, block); }},
      {"colorful-lut", true, [](auto s, auto) { return ZelTavoraFunc_Colorful_Get3DLut(s, 0, 60, nullptr, lattice); }},
      {"colorful-apply", true,
       [](auto s, auto d) {
         static uint8_t table[ZEL_LUT3D_BYTES];
         static const int32_t made = ZelTavoraFunc_Colorful_Get3DLut(s, 0, 60, nullptr, table);
         return made != ZEL_OK ? made : ZelTavoraFunc_Colorful_Apply3DLut(s, d, 0, 60, nullptr, table);
       }},
  };
  return operations;
}

void Register(const Operation& operation, const Size& size, int bits, const Kernels* kernels) {
  const std::string name =
      std::string("zel/") + operation.name + "/" + size.name + "/" + std::to_string(bits) + "/" + kernels->level;
  RegisterTimed(name, [&operation, size, bits, kernels](benchmark::State& state) {
    ImageDesc* const source = Source(size, 3, bits).desc();
    ImageDesc* const destination = Destination(size, 3, bits).desc();
    SetActiveKernels(kernels);
    int32_t result = operation.call(source, destination);
    for (auto _ : state) result |= operation.call(source, destination);
    SetActiveKernels(nullptr);
    if (result != ZEL_OK) state.SkipWithError("refused");
  });
}

}  // namespace

void RegisterExports() {
  for (const Operation& operation : Operations()) {
    for (int bits : {8, 16}) {
      if (bits == 16 && !operation.sixteenBits) continue;
      for (const Size& size : {kLarge, kOneMegapixel, kSmall}) {
        Register(operation, size, bits, &scalar::kKernels);
        for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
          Register(operation, size, bits, *level);
        }
      }
    }
  }
}

}  // namespace zel::bench
