#include "driver/exports.h"

#include <tuple>

namespace zel::test {

namespace {

// Where Picture draws these things.
constexpr ZelPoint kNone = {-1, -1}, kSkin = {2, 2}, kFoliage = {8, 2}, kSky = {14, 2}, kOutside = {1000, -5};

// Hands out arguments by the types of the parameters, from left to right.
class Next {
 public:
  explicit Next(const Arguments& arguments) : a_(arguments) {}

  operator const ImageDesc*() { return images_++ == 0 ? a_.source : a_.destination; }
  operator const ZelRect*() { return a_.rect; }
  operator const ZelPoint*() { return a_.point; }
  operator int32_t() { return a_.numbers[numbers_++]; }
  operator uint32_t() { return static_cast<uint32_t>(a_.numbers[numbers_++]); }
  operator float() { return a_.reals[reals_++]; }
  operator const int32_t*() { return Given(a_.numbers + kArray * arrays_++); }
  operator const float*() { return Given(a_.reals); }
  operator uint8_t*() { return Given(a_.table); }
  operator const uint8_t*() { return Given(a_.table); }
  operator char*() { return reinterpret_cast<char*>(Given(a_.table)); }
  operator int32_t*() { return Given(reinterpret_cast<int32_t*>(a_.table) + arrays_++); }

 private:
  template <class T>
  T* Given(T* pointer) const {
    return a_.withoutTables ? nullptr : pointer;
  }

  const Arguments& a_;
  size_t images_ = 0, numbers_ = 0, reals_ = 0, arrays_ = 0;
};

template <class... Parameters>
std::function<int32_t(const Arguments&)> Caller(int32_t(ZEL_CALL* function)(Parameters...)) {
  return [function](const Arguments& arguments) {
    Next next(arguments);
    // Braces, so that the order of evaluation is that of the parameters.
    return std::apply(function, std::tuple<Parameters...>{static_cast<Parameters>(next)...});
  };
}

}  // namespace

#define FUNCTION(name) #name, Caller(name)

const std::vector<Export>& Exports() {
  static const std::vector<Settings> tones = {{{0, 0, 50}}, {{1, 0, 80}},   {{0, 1, 60}}, {{0, 2, 100}}, {{1, 3, 40}},
                                              {{0, 5, 70}}, {{0, 4, 50}},   {{0, 6, 30}}, {{0, 7, 50}},  {{0, 2, 0}},
                                              {{0, 4, 0}},  {{0, 1, 1000}}, {{0, 4, 80}}, {{0, 6, 20}},  {{0, 6, 60}},
                                              {{0, 6, 80}}, {{0, 6, 93}}};
  static const std::vector<Settings> reserved = {{{0, 0}}, {{0, 1}}, {{0, 30}}, {{0, 75}}, {{0, 100}}, {{0, -50}}};
  static const std::vector<Settings> strengths = {{{0}}, {{1}}, {{30}}, {{75}}, {{100}}, {{-50}}};
  static const std::vector<Settings> modes = {{{0, 0}},  {{0, 20}}, {{0, 50}},  {{0, 100}}, {{1, 15}},
                                              {{1, 70}}, {{2, 35}}, {{2, 100}}, {{3, 50}},  {{0, 1000000}}};
  static const std::vector<Settings> areas = {{{0}, kNone}, {{40}, kNone},    {{100}, kSkin},  {{60}, kFoliage},
                                              {{60}, kSky}, {{50}, kOutside}, {{90}, {20, 9}}, {{1000000}, kFoliage}};

  Laws all, margin, detail, softened, given, givenBytes, byOrder, whole, wholeByOrder, rowEnds, wholeColours;
  margin.margin = softened.sight = 1;
  detail.margin = 4;
  detail.reversed = false;
  givenBytes.bytes = true;
  given.reorders = givenBytes.reorders = softened.reorders = false;
  byOrder.orderMatters = wholeByOrder.orderMatters = rowEnds.orderMatters = true;
  whole.usesRect = wholeByOrder.usesRect = rowEnds.usesRect = wholeColours.usesRect = false;
  rowEnds.padded = false;
  wholeColours.colours = true;
  constexpr MemoryBound tables = {3 << 19, 0, 0}, votes = {4 << 20, 0, 0}, rows = {1 << 20, 128 * 8, 0},
                        few = {65536, 64, 0}, mask = {1 << 20, 256, 1}, planes = {65536, 256, 8};

  static const std::vector<Export> exports = {
      {FUNCTION(GetDLLVersion), {{}}, all, tables, {}},
      {FUNCTION(ZelTavoraFunc_ToneEnhancement),
       tones,
       all,
       tables,
       {{"tone", false, {{0, 0, 80}}}},
       {"tone", {"gentle", "style", "strength"}}},
      {FUNCTION(ZelTavoraFunc_SmartContrast),
       reserved,
       all,
       tables,
       {{"smart-contrast", true, {{0, 60}}}},
       {"smart-contrast", {"", "strength"}}},
      {FUNCTION(ZelTavoraFunc_ColorCast),
       reserved,
       byOrder,
       tables,
       {{"color-cast", false, {{0, 80}}}},
       {"color-cast", {"", "strength"}},
       kAnswersOk},
      {FUNCTION(ZelTavoraFunc_Colorful),
       modes,
       all,
       tables,
       {{"colorful", true, {{0, 60}}}, {"colorful-masked", false, {{1, 60}}}},
       {"colorful", {"style", "strength"}},
       kSlow},
      {FUNCTION(ZelTavoraFunc_Vivid),
       modes,
       detail,
       mask,
       {{"vivid", false, {{1, 30}}}},
       {"vivid", {"style", "strength"}}},
      {FUNCTION(ZelTavoraFunc_SkinFlash),
       {{{1, 50}, kNone},
        {{2, 50}, kSkin},
        {{1, 100}, kSkin},
        {{1, 40}, kSky},
        {{2, 0}, kNone},
        {{1, 60}, kOutside},
        {{3, 60}, kSkin}},
       given,
       mask,
       {{"skin-flash", false, {{1, 60}}}},
       {"skin-flash", {"1+gentle", "strength"}}},
      {FUNCTION(ZelTavoraFunc_GetSkinToneInitialPercentages),
       {{{}, kNone}, {{}, kSkin}, {{}, kFoliage}, {{}, kSky}, {{}, {20, 9}}, {{}, kOutside}},
       all,
       tables,
       {}},
      {FUNCTION(ZelTavoraFunc_SkinTone),
       {{{1, 54, 77, 12}, kNone},
        {{2, 80, 20, 60}, kNone},
        {{1, 30, 90, 40}, kSkin},
        {{2, 0, 0, 0}, kSkin},
        {{1, 100, 100, 100}, kSky},
        {{1, 50, 50, 50}, kOutside},
        {{0, 50, 50, 50}, kSkin}},
       givenBytes,
       mask,
       {{"skin-tone", false, {{1, 60, 70, 20}}}},
       {"skin-tone", {"1", "lightness", "blue", "red"}},
       kAnswersOk},
      {FUNCTION(ZelTavoraFunc_SkinClear),
       {{{1, 50}, kNone},
        {{2, 30}, kSkin},
        {{1, 100}, kSkin},
        {{2, 80}, kNone},
        {{1, 60}, kSky},
        {{1, 0}, kNone},
        {{1, 60}, kOutside},
        {{3, 60}, kSkin}},
       given,
       mask,
       {{"skin-clear", false, {{1, 50}}}},
       {"skin-clear", {"1+gentle", "level"}}},
      {FUNCTION(ZelTavoraFunc_AgedPhotoRecovered),
       modes,
       all,
       votes,
       {{"aged-photo", true, {{0, 60}}}},
       {"aged-photo", {"gentle", "strength"}}},
      {FUNCTION(ZelTavoraFunc_ColorTemperature),
       {{{0, 0}}, {{0, 50}}, {{0, 73}}, {{0, 100}}, {{0, INT32_MAX}}},
       all,
       tables,
       {{"temperature-level", true, {{0, 70}}}},
       {"temperature-level", {"", "level"}}},
      {FUNCTION(ZelTavoraFunc_ToneEnhancement_Get1DLut),
       tones,
       all,
       tables,
       {{"tone-lut", false, {{0, 0, 80}}},
        {"tone-lut-style-1", false, {{0, 1, 80}}},
        {"tone-lut-style-6", false, {{0, 6, 80}}}}},
      {FUNCTION(ZelTavoraFunc_SmartContrast_Get1DLut),
       reserved,
       all,
       tables,
       {{"smart-contrast-lut", true, {{0, 60}}}}},
      {FUNCTION(ZelTavoraFunc_ColorCast_Get1DLut),
       reserved,
       byOrder,
       tables,
       {{"color-cast-lut", false, {{0, 80}}}},
       {},
       kAnswersOk},
      {FUNCTION(ZelTavoraFunc_Colorful_Get3DLut), modes, all, tables, {{"colorful-lut", true, {{0, 60}}}}, {}, kSlow},
      {FUNCTION(ZelTavoraFunc_Colorful_Apply3DLut), modes, all, tables, {{"colorful-apply", true, {{0, 60}}}}},
      {FUNCTION(ZelBasicToolFunc_ColorTemperature),
       {{{0}}, {{-100}}, {{-37}}, {{60}}, {{100}}, {{INT32_MIN}}},
       all,
       tables,
       {{"temperature", true, {{40}}}},
       {"temperature", {"temperature"}}},
      {FUNCTION(ZelBasicToolFunc_ContrastBrightness),
       {{{0, 0}}, {{50, 0}}, {{-30, 20}}, {{100, -60}}, {{-100, 100}}, {{INT32_MAX, INT32_MIN}}},
       all,
       tables,
       {{"contrast", true, {{30, 5}}}},
       {"contrast", {"contrast", "brightness"}}},
      {FUNCTION(ZelBasicToolFunc_Gamma),
       {{{}, kNone, {1, 1, 1}},
        {{}, kNone, {2.2f, 2.2f, 2.2f}},
        {{}, kNone, {0.5f, 1.3f, 4}},
        {{}, kNone, {0.01f, 11, -1}}},
       all,
       tables,
       {{"gamma", true, {{}, kNone, {1.4f, 1.5f, 1.6f}}}, {"gamma-equal", true, {{}, kNone, {1.4f, 1.4f, 1.4f}}}},
       {"gamma", {}, "gamma"}},
      {FUNCTION(ZelBasicToolFunc_HighlightShadow),
       {{{255, 255, 255, 0, 0, 0, 0, 0, 0, 0}},
        {{200, 220, 240, 0, 0, 0, 0, 10, 20, 30}},
        {{90, 128, 40, 0, 0, 0, 0, 100, 128, 200}},
        {{INT32_MAX, -5, 300, 0, 0, 0, 0, INT32_MIN, 700, -1}}},
       all,
       tables,
       {{"levels", true, {{230, 240, 250, 0, 0, 0, 0, 10, 5, 20}}}},
       {"levels", {"highlight", "highlight", "highlight", "", "", "", "", "shadow", "shadow", "shadow"}}},
      {FUNCTION(ZelBasicToolFunc_HueSaturation),
       {{{0, 0}}, {{30, 50}}, {{-120, -40}}, {{180, 100}}, {{0, -100}}, {{INT32_MIN, INT32_MAX}}},
       all,
       tables,
       {{"hue-saturation", true, {{20, 30}}}},
       {"hue-saturation", {"hue", "saturation"}}},
      {FUNCTION(ZelBasicToolFunc_HueSaturationPro),
       {{{}},
        {{30, 0, 0, 0, 0, 0, 0, 40}},
        {{-10, 20, -20, 60, -60, 10, 5, -30, 100, -100, 50, 20, -20, 70}},
        {{INT32_MAX, INT32_MIN, 61, -61, 1, 2, 3, INT32_MIN, INT32_MAX, 101, -101, 9, 8, 7}}},
       all,
       tables,
       {{"hue-saturation-ranges", true, {{5, 10, -10, 20, 0, -20, 15, 10, 20, -10, 30, 0, 10, -20}}}},
       {"hue-saturation-ranges",
        {"hue", "red-hue", "yellow-hue", "green-hue", "cyan-hue", "blue-hue", "magenta-hue", "saturation",
         "red-saturation", "yellow-saturation", "green-saturation", "cyan-saturation", "blue-saturation",
         "magenta-saturation"}}},
      {FUNCTION(ZelBasicToolFunc_ColorCorrect),
       {{{0, 0}},
        {{0, 100}},
        {{1, 50}},
        {{2, 70}},
        {{3, 100}},
        {{4, 30}},
        {{5, 100}},
        {{6, 80}},
        {{7, 50}},
        {{2, INT32_MAX}}},
       wholeByOrder,
       tables,
       {{"color-correct", false, {{0, 80}}}},
       {"color-correct", {"color", "strength"}}},
      {FUNCTION(ZelBasicToolFunc_LightCorrect),
       strengths,
       whole,
       votes,
       {{"light-correct", true, {{80}}}},
       {"light-correct", {"strength"}}},
      {FUNCTION(ZelBasicToolFunc_ColorCastManual),
       strengths,
       rowEnds,
       tables,
       {{"cast-manual", false, {{80}}}},
       {"cast-manual", {"strength"}}},
      {FUNCTION(ZelBasicToolFunc_FoliageColorful),
       areas,
       softened,
       mask,
       {{"foliage-colorful", false, {{60}}}},
       {"foliage-colorful", {"amount"}}},
      {FUNCTION(ZelBasicToolFunc_FoliageTone),
       areas,
       given,
       mask,
       {{"foliage-tone", false, {{60}}, 1}},
       {"foliage-tone", {"amount"}}},
      {FUNCTION(ZelBasicToolFunc_SkyColorful),
       areas,
       softened,
       mask,
       {{"sky-colorful", false, {{60}}}},
       {"sky-colorful", {"amount"}}},
      {FUNCTION(ZelBasicToolFunc_SkyTone),
       areas,
       given,
       mask,
       {{"sky-tone", false, {{60}}, 0}},
       {"sky-tone", {"amount"}}},
      {FUNCTION(ZelBasicToolFunc_SkinColorful),
       areas,
       softened,
       mask,
       {{"skin-colorful", false, {{60}}}},
       {"skin-colorful", {"amount"}}},
      {FUNCTION(ZelBasicToolFunc_DeNoise),
       {{{0}}, {{1}}, {{50}}, {{100}}, {{1000}}, {{-1}}},
       wholeColours,
       planes,
       {{"denoise", false, {{50}}}},
       {"denoise", {"strength"}}},
      {FUNCTION(ZelBasicToolFunc_Sharpen),
       {{{0}}, {{51}}, {{100}}, {{-20}}, {{INT32_MAX}}},
       margin,
       few,
       {{"sharpen", false, {{50}}}},
       {"sharpen", {"amount"}}},
      {FUNCTION(ZelBasicToolFunc_GaussianBlur),
       {{{}, kNone, {0}}, {{}, kNone, {0.8f}}, {{}, kNone, {3}}, {{}, kNone, {1e9f}}, {{}, kNone, {-1}}},
       all,
       rows,
       {{"blur-1", true, {{}, kNone, {1}}}, {"blur-3", true, {{}, kNone, {3}}}, {"blur-10", true, {{}, kNone, {10}}}},
       {"blur", {}, "radius"}},
      {FUNCTION(ZelBasicToolFunc_UnsharpMask),
       {{{0, 0}, kNone, {1}},
        {{100, 0}, kNone, {2}},
        {{60, 8}, kNone, {0.7f}},
        {{500, 3}, kNone, {20}},
        {{-50, -1}, kNone, {-3}}},
       all,
       rows,
       {{"unsharp", true, {{80, 3}, kNone, {2}}}},
       {"unsharp", {"amount", "threshold"}, "radius"}},
  };
  return exports;
}

}  // namespace zel::test
