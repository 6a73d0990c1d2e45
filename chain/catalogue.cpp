// What there is to know about each operation, and nothing else. In one file, since it is read and compared as one
// table.
#include <algorithm>

#include "operations.h"
#include "retouch/denoise.h"

namespace zel::chain {
namespace {

Parameter Integer(const char* name, int least, int most, const char* fallback, const char* unit, const char* meaning) {
  return {name, Kind::Integer, double(least), double(most), 1, fallback, unit, meaning, {}};
}

Parameter Strength(const char* fallback, const char* meaning, int least = 0) {
  return Integer("strength", least, 100, fallback, "per cent", meaning);
}

Parameter Number(const char* name, double least, double most, double step, const char* fallback, const char* unit,
                 const char* meaning) {
  return {name, Kind::Real, least, most, step, fallback, unit, meaning, {}};
}

Parameter Choice(const char* name, const char* fallback, std::vector<const char*> choices, const char* meaning) {
  return {name, Kind::Choice, 0, 0, 0, fallback, "", meaning, std::move(choices)};
}

Parameter Where(const char* meaning = "only this part of the picture changes") {
  return {"rect", Kind::Rect, 0, 0, 0, "", "", meaning, {}};
}

Parameter At(const char* meaning, bool required = false) {
  return {"at", Kind::Point, 0, 0, 0, "", "", meaning, {}, required};
}

using ToneTool = int32_t(ZEL_CALL*)(const ImageDesc*, const ImageDesc*, const ZelPoint*, int32_t, const ZelRect*,
                                    uint32_t);

template <ToneTool kTool>
int32_t RunRegion(const Call& c) {
  return kTool(c.source, c.destination, c.point, c.Int("amount"), c.rect, 0);
}

// Sky, foliage and skin: the same two tools for each, with their own words.
Operation RegionColour(const char* name, const char* purpose, const char* at, const char* middle,
                       int32_t (*run)(const Call&)) {
  return {
      name,
      "selective",
      purpose,
      "Without a point every pixel of the usual hue counts. When the pixel at the point does not look like the thing, "
      "nothing changes.",
      {"amount=25", middle, "amount=100"},
      Depth::Difference,
      Reach::Mask,
      kMeasures,
      {Integer("amount", 0, 100, "50", "per cent", "how much more colour"), At(at), Where()},
      run};
}

Operation RegionTone(const char* name, const char* purpose, const char* at, std::array<const char*, 3> examples,
                     int32_t (*run)(const Call&)) {
  return {name,
          "selective",
          purpose,
          "The point is needed. When the pixel there does not look like the thing, nothing changes.",
          examples,
          Depth::Difference,
          Reach::Mask,
          kMeasures,
          {Integer("amount", 0, 100, "50", "per cent", "how much brighter"), At(at, true), Where()},
          run};
}

std::vector<Parameter> RangeParameters() {
  static const char* const kHues[7] = {"hue",      "red-hue",  "yellow-hue", "green-hue",
                                       "cyan-hue", "blue-hue", "magenta-hue"};
  static const char* const kSaturations[7] = {"saturation",        "red-saturation",  "yellow-saturation",
                                              "green-saturation",  "cyan-saturation", "blue-saturation",
                                              "magenta-saturation"};
  std::vector<Parameter> parameters;
  for (int i = 0; i < 7; ++i) {
    const int turn = i == 0 ? 180 : 60;
    parameters.push_back(Integer(kHues[i], -turn, turn, "0", "degrees", "turn of the hues"));
    parameters.push_back(Integer(kSaturations[i], -100, 100, "0", "per cent", "change of the saturation"));
  }
  parameters.push_back(Where());
  return parameters;
}

int32_t RunHueSaturationRanges(const Call& c) {
  int32_t hues[7], saturations[7];
  for (size_t i = 0; i < 7; ++i) {
    hues[i] = static_cast<int32_t>(c.settings.values[2 * i].numbers[0]);
    saturations[i] = static_cast<int32_t>(c.settings.values[2 * i + 1].numbers[0]);
  }
  return ZelBasicToolFunc_HueSaturationPro(c.source, c.destination, hues, saturations, c.rect);
}

// The kernel ends where less than half a per cent of its weight is left, within three standard deviations.
int BlurMargin(const Settings& s) {
  return std::min(60, static_cast<int>(3 * s.Number("radius")) + 2);
}

int32_t RunSkinTone(const Call& c) {
  int32_t lightness, blue, red;
  const int32_t result = ZelTavoraFunc_GetSkinToneInitialPercentages(c.source, 0, c.point, &lightness, &blue, &red);
  if (result != ZEL_OK) return result;
  if (c.Given("lightness")) lightness = c.Int("lightness");
  if (c.Given("blue")) blue = c.Int("blue");
  if (c.Given("red")) red = c.Int("red");
  return ZelTavoraFunc_SkinTone(c.source, c.destination, 1, c.point, lightness, blue, red, c.rect);
}

std::vector<Operation> Tone() {
  return {
      {"contrast",
       "tone",
       "Sets contrast and brightness by hand.",
       "Contrast turns the curve about mid-grey; brightness shifts it.",
       {"contrast=15", "contrast=30 brightness=5", "contrast=60 brightness=10"},
       Depth::Full,
       Reach::Curve,
       kGrey,
       {Integer("contrast", -100, 100, "0", "per cent", "steeper above 0, flatter below; 100 is nearly a threshold"),
        Integer("brightness", -100, 100, "0", "per cent", "lighter above 0, darker below"), Where()},
       [](const Call& c) {
         return ZelBasicToolFunc_ContrastBrightness(c.source, c.destination, c.Int("contrast"), c.Int("brightness"),
                                                    c.rect);
       }},
      {"smart-contrast",
       "tone",
       "Stretches the tones so that the darkest parts become black and the brightest white.",
       "All channels alike, so colours keep their balance.",
       {"strength=30", "strength=60", "strength=85"},
       Depth::Curve,
       Reach::Curve,
       kGrey | kMeasures,
       {Strength("50", "50 is the full stretch to the measured points, 100 a hard, poster-like contrast"), Where()},
       [](const Call& c) {
         return ZelTavoraFunc_SmartContrast(c.source, c.destination, 0, c.Int("strength"), c.rect);
       }},
      {"tone",
       "tone",
       "Finds the tone curve that the photograph needs.",
       "",
       {"strength=30", "strength=60", "style=brighten strength=60"},
       Depth::Difference,
       Reach::Curve,
       kMeasures,
       {Strength("50", "how far to go"),
        Choice(
            "style", "auto", {"auto", "light", "normal", "equalise", "dark", "shadows", "brighten"},
            "auto chooses by the exposure; light deepens light pictures; normal and equalise spread the tones; dark "
            "stretches the levels and sets a gamma by the strength; shadows equalises by half and opens the shadows; "
            "brighten stretches, brightens and raises the contrast"),
        Choice("gentle", "no", {"no", "yes"}, "yes takes three quarters of the strength"), Where()},
       [](const Call& c) {
         return ZelTavoraFunc_ToneEnhancement(c.source, c.destination, c.Int("gentle"), c.Int("style"),
                                              c.Int("strength"), c.rect);
       }},
      {"gamma",
       "tone",
       "Brightens or darkens the mid-tones.",
       "One value, or one each for red, green and blue.",
       {"gamma=1.2", "gamma=1.5", "gamma=2.2"},
       Depth::Full,
       Reach::Curve,
       kGrey,
       {{"gamma", Kind::RealTriple, 0.01, 10, 0.01, "1", "", "above 1 brightens, below 1 darkens", {}}, Where()},
       [](const Call& c) { return ZelBasicToolFunc_Gamma(c.source, c.destination, c.Reals("gamma").data(), c.rect); }},
      {"levels",
       "tone",
       "Sets the black point and the white point.",
       "One value, or one each for red, green and blue. Points that meet or cross give a hard step.",
       {"shadow=10 highlight=245", "shadow=25 highlight=225", "shadow=50 highlight=200"},
       Depth::Full,
       Reach::Curve,
       kGrey,
       {{"highlight", Kind::Triple, 0, 255, 1, "255", "", "input that becomes white", {}},
        {"shadow", Kind::Triple, 0, 255, 1, "0", "", "input that becomes black", {}},
        Where()},
       [](const Call& c) {
         return ZelBasicToolFunc_HighlightShadow(c.source, c.destination, c.Triple("highlight").data(),
                                                 c.Triple("shadow").data(), c.rect);
       }},
      {"aged-photo",
       "tone",
       "Restores a faded, yellowed photograph.",
       "Contrast and balance come back through one curve per channel, measured on the whole picture.",
       {"strength=25", "strength=50", "strength=100"},
       Depth::Curve,
       Reach::Curve,
       kGrey | kMeasures,
       {Strength("50", "how far to go"),
        Choice("gentle", "no", {"no", "yes"}, "yes takes three quarters of the strength"), Where()},
       [](const Call& c) {
         return ZelTavoraFunc_AgedPhotoRecovered(c.source, c.destination, c.Int("gentle"), c.Int("strength"), c.rect);
       }},
  };
}

std::vector<Operation> Colour() {
  return {
      {"temperature",
       "colour",
       "Makes the picture warmer or cooler.",
       "",
       {"temperature=-25", "temperature=-50", "temperature=50"},
       Depth::Curve,
       Reach::Curve,
       0,
       {Integer("temperature", -100, 100, "0", "", "-100 warmest (as if lit at 4500 K), 100 coolest (9000 K)"),
        Where()},
       [](const Call& c) {
         return ZelBasicToolFunc_ColorTemperature(c.source, c.destination, c.Int("temperature"), c.rect);
       }},
      {"temperature-level",
       "colour",
       "Colour temperature on a scale from 0 to 100.",
       "The same as temperature with 2 x level - 100.",
       {"level=60", "level=35", "level=85"},
       Depth::Curve,
       Reach::Curve,
       0,
       {Integer("level", 0, 100, "50", "", "0 warmest, 50 unchanged, 100 coolest"), Where()},
       [](const Call& c) {
         return ZelTavoraFunc_ColorTemperature(c.source, c.destination, 0, c.Int("level"), c.rect, 0);
       }},
      {"hue-saturation",
       "colour",
       "Turns all hues and changes the saturation.",
       "",
       {"saturation=20", "saturation=40", "hue=60 saturation=10"},
       Depth::Difference,
       Reach::Lattice,
       0,
       {Integer("hue", -180, 180, "0", "degrees", "turn of all hues"),
        Integer("saturation", -100, 100, "0", "per cent", "-100 is grey, 100 doubles"), Where()},
       [](const Call& c) {
         return ZelBasicToolFunc_HueSaturation(c.source, c.destination, c.Int("hue"), c.Int("saturation"), c.rect);
       }},
      {"hue-saturation-ranges",
       "colour",
       "Hue and saturation for the whole picture and for six ranges of colour.",
       "Neighbouring ranges blend.",
       {"green-saturation=30", "blue-saturation=50 red-saturation=-30", "green-hue=-40 green-saturation=40"},
       Depth::Difference,
       Reach::Lattice,
       0,
       RangeParameters(),
       RunHueSaturationRanges},
      {"colorful",
       "colour",
       "Makes colours richer, led by the most colourful pixel.",
       "Style skin runs on an 8-bit copy of 16-bit photographs.",
       {"strength=25", "strength=50", "strength=100"},
       Depth::Difference,
       Reach::Lattice,
       kMeasures | kPartly,
       {Strength("50", "how far to go"),
        Choice("style", "all", {"all", "skin"},
               "skin confines the effect to reddish hues; others only gain saturation"),
        Where()},
       [](const Call& c) {
         return ZelTavoraFunc_Colorful(c.source, c.destination, c.Int("style"), c.Int("strength"), c.rect);
       }},
      {"color-cast",
       "colour",
       "Finds the tint of the brightest areas and moves it towards grey.",
       "For scans of paper with a tint; it can turn a colourful photograph, for which light-correct is the tool. A "
       "photograph without a recognisable cast stays as it is.",
       {"strength=30", "strength=60", "strength=100"},
       Depth::Difference,
       Reach::Curve,
       kMeasures | kBlueFirst,
       {Strength("50", "100 is neutral"), Where()},
       [](const Call& c) { return ZelTavoraFunc_ColorCast(c.source, c.destination, 0, c.Int("strength"), c.rect); }},
      {"color-correct",
       "colour",
       "Removes a colour cast of a known colour from the whole picture.",
       "",
       {"color=auto strength=50", "color=yellow strength=60", "color=red strength=100"},
       Depth::Difference,
       Reach::Curve,
       kMeasures | kBlueFirst,
       {Choice("color", "auto", {"auto", "red", "yellow", "green", "cyan", "blue", "magenta"},
               "the colour of the cast"),
        Strength("50", "100 is neutral")},
       [](const Call& c) {
         return ZelBasicToolFunc_ColorCorrect(c.source, c.destination, c.Int("color"), c.Int("strength"));
       }},
      {"cast-manual",
       "colour",
       "Removes a colour cast by example: the mean colour of the rectangle becomes grey.",
       "The whole picture follows. Mark something that ought to be grey or white.",
       {"strength=50 rect=76.5%,83%,79.5%,91%", "strength=100 rect=76.5%,83%,79.5%,91%", "strength=100"},
       Depth::Difference,
       Reach::Curve,
       kMeasures | kBlueFirst | kMeasuresRect,
       {Strength("100", "100 is neutral"), Where("the area that ought to be grey; left out: the whole picture")},
       [](const Call& c) {
         return ZelBasicToolFunc_ColorCastManual(c.source, c.destination, c.Int("strength"), c.rect);
       }},
      {"light-correct",
       "colour",
       "Takes out the colour of the light.",
       "Every plausible light is weighed by the surfaces and edges it explains; the less evidence, the less changes.",
       {"strength=30", "strength=60", "strength=100"},
       Depth::Curve,
       Reach::Curve,
       kMeasures,
       {Strength("50", "100 takes it out entirely")},
       [](const Call& c) { return ZelBasicToolFunc_LightCorrect(c.source, c.destination, c.Int("strength")); }},
  };
}

std::vector<Operation> Selective() {
  return {
      RegionColour("foliage-colorful", "Makes leaves and grass more colourful.", "a pixel of the foliage", "amount=60",
                   RunRegion<ZelBasicToolFunc_FoliageColorful>),
      RegionTone("foliage-tone", "Brightens leaves and grass around a chosen colour.", "a pixel of the foliage",
                 {"amount=30 at=10%,68%", "amount=60 at=10%,68%", "amount=100 at=10%,68%"},
                 RunRegion<ZelBasicToolFunc_FoliageTone>),
      RegionColour("sky-colorful", "Makes the sky more colourful.", "a pixel of the sky", "amount=60",
                   RunRegion<ZelBasicToolFunc_SkyColorful>),
      RegionTone("sky-tone", "Brightens the sky around a chosen colour.", "a pixel of the sky",
                 {"amount=30 at=20%,6%", "amount=60 at=20%,6%", "amount=100 at=20%,6%"},
                 RunRegion<ZelBasicToolFunc_SkyTone>),
      RegionColour("skin-colorful", "Makes skin more colourful.", "a pixel of the skin", "amount=60",
                   RunRegion<ZelBasicToolFunc_SkinColorful>),
      {"skin-flash",
       "skin",
       "Fill flash on skin: brightens skin-coloured areas.",
       "Without a point all skin-like hues count. When the pixel at the point does not look like skin, nothing "
       "changes.",
       {"strength=25", "strength=60", "strength=100"},
       Depth::Difference,
       Reach::Mask,
       kMeasures,
       {Strength("50", "how much brighter"),
        Choice("gentle", "no", {"no", "yes"}, "yes takes three quarters around a point"), At("a pixel of the skin"),
        Where()},
       [](const Call& c) {
         return ZelTavoraFunc_SkinFlash(c.source, c.destination, 1 + c.Int("gentle"), c.point, c.Int("strength"),
                                        c.rect, 0);
       }},
      {"skin-clear",
       "skin",
       "Smooths skin and lifts its contrast a little.",
       "Edges and everything that is not skin stay. Without a point all skin-like hues count.",
       {"level=25", "level=60", "level=100"},
       Depth::Difference,
       Reach::Mask,
       kMeasures,
       {Integer("level", 0, 100, "50", "per cent", "how smooth"),
        Choice("gentle", "no", {"no", "yes"}, "yes has less effect up to level 50"), At("a pixel of the skin"),
        Where()},
       [](const Call& c) {
         return ZelTavoraFunc_SkinClear(c.source, c.destination, 1 + c.Int("gentle"), c.point, c.Int("level"), c.rect);
       }},
      {"skin-tone",
       "skin",
       "Moves the colour of skin to the one that three sliders describe.",
       "A slider left out stays where the skin already is: see zel skin-sliders.",
       {"lightness=60", "lightness=65 red=20", "lightness=70 red=30 blue=60"},
       Depth::Difference,
       Reach::Mask,
       kMeasures,
       {Integer("lightness", 0, 100, "", "per cent", "darker to lighter"),
        Integer("blue", 0, 100, "", "per cent", "yellow to blue"),
        Integer("red", 0, 100, "", "per cent", "green to red"),
        At("a pixel of the skin to change; left out: all skin-like hues"), Where()},
       RunSkinTone},
  };
}

std::vector<Operation> Detail() {
  return {
      {"denoise",
       "detail",
       "Takes out noise and keeps edges.",
       "The whole picture is always treated.",
       {"strength=20", "strength=40", "strength=80"},
       Depth::Difference,
       Reach::Neighbours,
       kMeasures,
       {Strength("30", "0 keeps everything")},
       [](const Call& c) {
         const auto strength = static_cast<uint32_t>(c.Int("strength"));
         if (c.listener == nullptr) return ZelBasicToolFunc_DeNoise(c.source, c.destination, strength, nullptr);
         // What that function does, but it knows no listener.
         return Denoise(c.source, c.destination, strength, nullptr, c.listener) ? ZEL_OK : ZEL_REFUSED;
       },
       -1},
      {"vivid",
       "detail",
       "Crisper detail.",
       "",
       {"strength=25", "strength=50", "strength=100"},
       Depth::Difference,
       Reach::Neighbours,
       kMeasures,
       {Strength("50", "how crisp"),
        Choice("style", "plain", {"plain", "detail", "gentle"},
               "detail and gentle sharpen only fine dark detail up to strength 30 and 40, and everything above"),
        Where()},
       [](const Call& c) {
         return ZelTavoraFunc_Vivid(c.source, c.destination, c.Int("style"), c.Int("strength"), c.rect);
       },
       -1,
       [](const Settings& s) {
         // The detail styles stretch their mask by the whole picture.
         const int style = s.Int("style"), strength = s.Int("strength");
         return style == 0 || strength > (style == 1 ? 30 : 40) ? 1 : -1;
       }},
      {"sharpen",
       "detail",
       "Sharpens with a 3 x 3 kernel.",
       "Odd amounts brighten flat areas by about 2 per cent.",
       {"amount=20", "amount=40", "amount=80"},
       Depth::Difference,
       Reach::Neighbours,
       kGrey,
       {Integer("amount", 0, 100, "40", "per cent", "50 is moderate, 100 strong"), Where()},
       [](const Call& c) { return ZelBasicToolFunc_Sharpen(c.source, c.destination, c.Int("amount"), c.rect); },
       1},
      {"blur",
       "detail",
       "Gaussian blur.",
       "Radii below about 0.3 change nothing.",
       {"radius=1", "radius=3", "radius=10"},
       Depth::Full,
       Reach::Neighbours,
       kGrey,
       {Number("radius", 0, 100, 0.1, "2", "pixels", "standard deviation; the kernel reaches at most 60 pixels"),
        Where()},
       [](const Call& c) {
         return ZelBasicToolFunc_GaussianBlur(c.source, c.destination, static_cast<float>(c.Number("radius")), c.rect);
       },
       60,
       BlurMargin},
      {"unsharp",
       "detail",
       "Unsharp mask: adds the difference to a blurred copy.",
       "16-bit photographs get the strength of 8-bit ones.",
       {"amount=50", "amount=100 radius=1.5", "amount=200 radius=2"},
       Depth::Difference,
       Reach::Neighbours,
       kGrey,
       {Integer("amount", 0, 500, "100", "per cent", "100 adds the difference once"),
        Number("radius", 0.1, 10, 0.1, "1", "pixels", "standard deviation of the blur"),
        Integer("threshold", 0, 255, "0", "levels", "differences up to it are left alone"), Where()},
       [](const Call& c) {
         return ZelBasicToolFunc_UnsharpMask(c.source, c.destination, c.Int("amount"),
                                             static_cast<float>(c.Number("radius")),
                                             static_cast<uint32_t>(c.Int("threshold")), c.rect);
       },
       32,
       BlurMargin},
  };
}

}  // namespace

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> all = [] {
    std::vector<Operation> list;
    for (std::vector<Operation> group : {Tone(), Colour(), Selective(), Detail()}) {
      list.insert(list.end(), group.begin(), group.end());
    }
    return list;
  }();
  return all;
}

}  // namespace zel::chain
