#include "driver/exports.h"

namespace zel::test {

namespace {

// Where Picture draws these things.
constexpr ZelPoint kNone = {-1, -1}, kSkin = {2, 2}, kFoliage = {8, 2}, kSky = {14, 2}, kOutside = {1000, -5};

template <class T>
T* Given(const Arguments& a, T* pointer) {
  return a.withoutTables ? nullptr : pointer;
}

template <class T>
int32_t Selective(T function, const Arguments& a) {
  return function(a.source, a.destination, a.point, a.numbers[0], a.rect, static_cast<uint32_t>(a.numbers[1]));
}

}  // namespace

const std::vector<Export>& Exports() {
  static const std::vector<Settings> tones = {{{0, 0, 50}}, {{1, 0, 80}}, {{0, 1, 60}}, {{0, 2, 100}},
                                              {{1, 3, 40}}, {{0, 5, 70}}, {{0, 4, 50}}, {{0, 6, 30}},
                                              {{0, 7, 50}}, {{0, 2, 0}},  {{0, 4, 0}},  {{0, 1, 1000}}};
  static const std::vector<Settings> strengths = {{{0, 0}}, {{0, 1}}, {{0, 30}}, {{0, 75}}, {{0, 100}}, {{0, -50}}};
  static const std::vector<Settings> modes = {{{0, 0}},  {{0, 20}}, {{0, 50}},  {{0, 100}}, {{1, 15}},
                                              {{1, 70}}, {{2, 35}}, {{2, 100}}, {{3, 50}},  {{0, 1000000}}};
  static const std::vector<Settings> areas = {{{0}, kNone}, {{40}, kNone},    {{100}, kSkin},  {{60}, kFoliage},
                                              {{60}, kSky}, {{50}, kOutside}, {{90}, {20, 9}}, {{1000000}, kFoliage}};
  static const std::vector<Export> exports = {
      {"GetDLLVersion",
       [](const Arguments& a) { return GetDLLVersion(reinterpret_cast<char*>(Given(a, a.table))); },
       {{}}},
      {"ZelTavoraFunc_ToneEnhancement",
       [](const Arguments& a) {
         return ZelTavoraFunc_ToneEnhancement(a.source, a.destination, a.numbers[0], a.numbers[1], a.numbers[2],
                                              a.rect);
       },
       tones},
      {"ZelTavoraFunc_SmartContrast",
       [](const Arguments& a) {
         return ZelTavoraFunc_SmartContrast(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect);
       },
       strengths},
      {"ZelTavoraFunc_ColorCast",
       [](const Arguments& a) {
         return ZelTavoraFunc_ColorCast(a.source, a.destination, static_cast<uint32_t>(a.numbers[0]), a.numbers[1],
                                        a.rect);
       },
       strengths},
      {"ZelTavoraFunc_Colorful",
       [](const Arguments& a) {
         return ZelTavoraFunc_Colorful(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect);
       },
       modes},
      {"ZelTavoraFunc_Vivid",
       [](const Arguments& a) {
         return ZelTavoraFunc_Vivid(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect);
       },
       modes},
      {"ZelTavoraFunc_SkinFlash",
       [](const Arguments& a) {
         return ZelTavoraFunc_SkinFlash(a.source, a.destination, a.numbers[0], a.point, a.numbers[1], a.rect, 0);
       },
       {{{1, 50}, kNone},
        {{2, 50}, kSkin},
        {{1, 100}, kSkin},
        {{1, 40}, kSky},
        {{2, 0}, kNone},
        {{1, 60}, kOutside},
        {{3, 60}, kSkin}}},
      {"ZelTavoraFunc_GetSkinToneInitialPercentages",
       [](const Arguments& a) {
         int32_t* const percentages = Given(a, reinterpret_cast<int32_t*>(a.table));
         return ZelTavoraFunc_GetSkinToneInitialPercentages(a.source, 0, a.point, percentages,
                                                            percentages == nullptr ? nullptr : percentages + 1,
                                                            percentages == nullptr ? nullptr : percentages + 2);
       },
       {{{}, kNone}, {{}, kSkin}, {{}, kFoliage}, {{}, kSky}, {{}, {20, 9}}, {{}, kOutside}}},
      {"ZelTavoraFunc_SkinTone",
       [](const Arguments& a) {
         return ZelTavoraFunc_SkinTone(a.source, a.destination, a.numbers[0], a.point, a.numbers[1], a.numbers[2],
                                       a.numbers[3], a.rect);
       },
       {{{1, 54, 77, 12}, kNone},
        {{2, 80, 20, 60}, kNone},
        {{1, 30, 90, 40}, kSkin},
        {{2, 0, 0, 0}, kSkin},
        {{1, 100, 100, 100}, kSky},
        {{1, 50, 50, 50}, kOutside},
        {{0, 50, 50, 50}, kSkin}}},
      {"ZelTavoraFunc_SkinClear",
       [](const Arguments& a) {
         return ZelTavoraFunc_SkinClear(a.source, a.destination, a.numbers[0], a.point, a.numbers[1], a.rect);
       },
       {{{1, 50}, kNone},
        {{2, 30}, kSkin},
        {{1, 100}, kSkin},
        {{2, 80}, kNone},
        {{1, 60}, kSky},
        {{1, 0}, kNone},
        {{1, 60}, kOutside},
        {{3, 60}, kSkin}}},
      {"ZelTavoraFunc_AgedPhotoRecovered",
       [](const Arguments& a) {
         return ZelTavoraFunc_AgedPhotoRecovered(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect);
       },
       modes},
      {"ZelTavoraFunc_ColorTemperature",
       [](const Arguments& a) {
         return ZelTavoraFunc_ColorTemperature(a.source, a.destination, 0, a.numbers[0], a.rect, 0);
       },
       {{{0}}, {{50}}, {{73}}, {{100}}, {{INT32_MAX}}}},
      {"ZelTavoraFunc_ToneEnhancement_Get1DLut",
       [](const Arguments& a) {
         return ZelTavoraFunc_ToneEnhancement_Get1DLut(a.source, a.numbers[0], a.numbers[1], a.numbers[2], a.rect,
                                                       Given(a, a.table));
       },
       tones},
      {"ZelTavoraFunc_SmartContrast_Get1DLut",
       [](const Arguments& a) {
         return ZelTavoraFunc_SmartContrast_Get1DLut(a.source, a.numbers[0], a.numbers[1], a.rect, Given(a, a.table));
       },
       strengths},
      {"ZelTavoraFunc_ColorCast_Get1DLut",
       [](const Arguments& a) {
         return ZelTavoraFunc_ColorCast_Get1DLut(a.source, 0, a.numbers[1], Given(a, a.table));
       },
       strengths},
      {"ZelTavoraFunc_Colorful_Get3DLut",
       [](const Arguments& a) {
         return ZelTavoraFunc_Colorful_Get3DLut(a.source, a.numbers[0], a.numbers[1], a.rect, Given(a, a.table));
       },
       modes},
      {"ZelTavoraFunc_Colorful_Apply3DLut",
       [](const Arguments& a) {
         return ZelTavoraFunc_Colorful_Apply3DLut(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect,
                                                  Given(a, a.table));
       },
       modes},
      {"ZelBasicToolFunc_ColorTemperature",
       [](const Arguments& a) {
         return ZelBasicToolFunc_ColorTemperature(a.source, a.destination, a.numbers[0], a.rect);
       },
       {{{0}}, {{-100}}, {{-37}}, {{60}}, {{100}}, {{INT32_MIN}}}},
      {"ZelBasicToolFunc_ContrastBrightness",
       [](const Arguments& a) {
         return ZelBasicToolFunc_ContrastBrightness(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect);
       },
       {{{0, 0}}, {{50, 0}}, {{-30, 20}}, {{100, -60}}, {{-100, 100}}, {{INT32_MAX, INT32_MIN}}}},
      {"ZelBasicToolFunc_Gamma",
       [](const Arguments& a) { return ZelBasicToolFunc_Gamma(a.source, a.destination, Given(a, a.reals), a.rect); },
       {{{}, kNone, {1, 1, 1}},
        {{}, kNone, {2.2f, 2.2f, 2.2f}},
        {{}, kNone, {0.5f, 1.3f, 4}},
        {{}, kNone, {0.01f, 11, -1}}}},
      {"ZelBasicToolFunc_HighlightShadow",
       [](const Arguments& a) {
         return ZelBasicToolFunc_HighlightShadow(a.source, a.destination, Given(a, a.numbers), Given(a, a.numbers + 3),
                                                 a.rect);
       },
       {{{255, 255, 255, 0, 0, 0}},
        {{200, 220, 240, 10, 20, 30}},
        {{90, 128, 40, 100, 128, 200}},
        {{INT32_MAX, -5, 300, INT32_MIN, 700, -1}}}},
      {"ZelBasicToolFunc_HueSaturation",
       [](const Arguments& a) {
         return ZelBasicToolFunc_HueSaturation(a.source, a.destination, a.numbers[0], a.numbers[1], a.rect);
       },
       {{{0, 0}}, {{30, 50}}, {{-120, -40}}, {{180, 100}}, {{0, -100}}, {{INT32_MIN, INT32_MAX}}}},
      {"ZelBasicToolFunc_HueSaturationPro",
       [](const Arguments& a) {
         return ZelBasicToolFunc_HueSaturationPro(a.source, a.destination, Given(a, a.numbers), Given(a, a.numbers + 7),
                                                  a.rect);
       },
       {{{}},
        {{30, 0, 0, 0, 0, 0, 0, 40}},
        {{-10, 20, -20, 60, -60, 10, 5, -30, 100, -100, 50, 20, -20, 70}},
        {{INT32_MAX, INT32_MIN, 61, -61, 1, 2, 3, INT32_MIN, INT32_MAX, 101, -101, 9, 8, 7}}}},
      {"ZelBasicToolFunc_ColorCorrect",
       [](const Arguments& a) {
         return ZelBasicToolFunc_ColorCorrect(a.source, a.destination, a.numbers[0], a.numbers[1]);
       },
       {{{0, 0}},
        {{0, 100}},
        {{1, 50}},
        {{2, 70}},
        {{3, 100}},
        {{4, 30}},
        {{5, 100}},
        {{6, 80}},
        {{7, 50}},
        {{2, INT32_MAX}}}},
      {"ZelBasicToolFunc_LightCorrect",
       [](const Arguments& a) { return ZelBasicToolFunc_LightCorrect(a.source, a.destination, a.numbers[1]); },
       strengths},
      {"ZelBasicToolFunc_ColorCastManual",
       [](const Arguments& a) {
         return ZelBasicToolFunc_ColorCastManual(a.source, a.destination, a.numbers[1], a.rect);
       },
       strengths},
      {"ZelBasicToolFunc_FoliageColorful",
       [](const Arguments& a) { return Selective(ZelBasicToolFunc_FoliageColorful, a); }, areas},
      {"ZelBasicToolFunc_FoliageTone", [](const Arguments& a) { return Selective(ZelBasicToolFunc_FoliageTone, a); },
       areas},
      {"ZelBasicToolFunc_SkyColorful", [](const Arguments& a) { return Selective(ZelBasicToolFunc_SkyColorful, a); },
       areas},
      {"ZelBasicToolFunc_SkyTone", [](const Arguments& a) { return Selective(ZelBasicToolFunc_SkyTone, a); }, areas},
      {"ZelBasicToolFunc_SkinColorful", [](const Arguments& a) { return Selective(ZelBasicToolFunc_SkinColorful, a); },
       areas},
      {"ZelBasicToolFunc_DeNoise",
       [](const Arguments& a) {
         return ZelBasicToolFunc_DeNoise(a.source, a.destination, static_cast<uint32_t>(a.numbers[0]), a.rect);
       },
       {{{0}}, {{1}}, {{50}}, {{100}}, {{1000}}, {{-1}}}},
      {"ZelBasicToolFunc_Sharpen",
       [](const Arguments& a) { return ZelBasicToolFunc_Sharpen(a.source, a.destination, a.numbers[0], a.rect); },
       {{{0}}, {{51}}, {{100}}, {{-20}}, {{INT32_MAX}}}},
      {"ZelBasicToolFunc_GaussianBlur",
       [](const Arguments& a) { return ZelBasicToolFunc_GaussianBlur(a.source, a.destination, a.reals[0], a.rect); },
       {{{}, kNone, {0}}, {{}, kNone, {0.8f}}, {{}, kNone, {3}}, {{}, kNone, {1e9f}}, {{}, kNone, {-1}}}},
      {"ZelBasicToolFunc_UnsharpMask",
       [](const Arguments& a) {
         return ZelBasicToolFunc_UnsharpMask(a.source, a.destination, a.numbers[0], a.reals[0],
                                             static_cast<uint32_t>(a.numbers[1]), a.rect);
       },
       {{{0, 0}, kNone, {1}},
        {{100, 0}, kNone, {2}},
        {{60, 8}, kNone, {0.7f}},
        {{500, 3}, kNone, {20}},
        {{-50, -1}, kNone, {-3}}}},
  };
  return exports;
}

}  // namespace zel::test
