#include "selective/color_cast.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/channel_lut.h"
#include "selective/cast_estimate.h"
#include "selective/cast_gain_levels.h"
#include "selective/white_zone.h"
#include "support/images.h"
#include "support/settings.h"

namespace zel::test {
namespace {

struct Rgb {
  int red, green, blue;
};

// A dark neutral picture of 60 x 60 pixels; its first `brightRows` rows have the given colour.
TestImage Scene(Rgb bright, int brightRows, bool blueFirst = true) {
  TestImage image({60, 60, 3, 8, blueFirst}, 40, 40, 40);
  for (int i = 0; i < 60 * brightRows; ++i) image.SetColour(i % 60, i / 60, bright.red, bright.green, bright.blue);
  return image;
}

std::vector<uint8_t> CurvesOf(const TestImage& image, int32_t strength = 100) {
  std::vector<uint8_t> block(ZEL_LUT1D_BYTES, 7);
  EXPECT_EQ(ZelTavoraFunc_ColorCast_Get1DLut(image.desc(), 0, strength, block.data()), ZEL_OK);
  return block;
}

std::vector<uint8_t> Identity() {
  std::vector<uint8_t> block(ZEL_LUT1D_BYTES);
  MakeIdentityLut(block.data(), 3, 8);
  return block;
}

int GreyOf(Rgb c) {
  return (38 * c.red + 75 * c.green + 15 * c.blue) >> 7;
}

TEST(ColorCast, MovesTheBrightTintToItsGrey) {
  // Reddish, yellowish, green and blue light, each inside a family; magenta-red and grey are in none.
  for (const Rgb tint : {Rgb{240, 215, 200}, {235, 230, 190}, {200, 235, 220}, {190, 215, 240}}) {
    SCOPED_TRACE(tint.red);
    const TestImage scene = Scene(tint, 20);
    for (int strength : {0, 40, 100}) {
      const std::vector<uint8_t> block = CurvesOf(scene, strength);
      const int samples[3] = {tint.red, tint.green, tint.blue};
      for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(block[k * 256 + samples[k]], ((100 - strength) * samples[k] + strength * GreyOf(tint)) / 100);
      }
    }
    EXPECT_EQ(After(ZelTavoraFunc_ColorCast, scene, 0, 100, nullptr),
              After(ApplyChannelLut<uint8_t>, scene, nullptr, Curves<uint8_t>{CurvesOf(scene).data(), 3}));
    EXPECT_EQ(CurvesOf(Scene(tint, 20, false)), Identity()) << "red first is never looked at";
  }
  // The hues of 300 and 270 degrees and grey; 268 degrees is the last of a family.
  for (const Rgb tint : {Rgb{240, 200, 240}, {220, 200, 240}, {240, 240, 240}}) {
    EXPECT_EQ(CurvesOf(Scene(tint, 20)), Identity());
  }
  EXPECT_NE(CurvesOf(Scene({219, 200, 240}, 20)), Identity());
  EXPECT_NE(CurvesOf(TestImage({10, 10, 3, 8, true}, 240, 215, 200)), Identity());
  EXPECT_EQ(CurvesOf(TestImage({11, 9, 3, 8, true}, 240, 215, 200)), Identity()) << "fewer than 100 pixels in all";
  TestImage sparse = Scene({240, 215, 200}, 0);
  for (int x = 0; x < 24; ++x) sparse.SetColour(x, 0, 240, 215, 200);
  EXPECT_EQ(CurvesOf(sparse), Identity()) << "fewer than 25 pixels are no family";
  sparse.SetColour(24, 0, 240, 215, 200);
  EXPECT_EQ(CurvesOf(sparse)[240], GreyOf({240, 215, 200}));
}

TEST(ColorCast, FamilyOfTheUsersChoice) {
  const TestImage scene = Scene({190, 215, 240}, 20);  // hue 210: blue and cyan
  const bool reaches[] = {true, false, false, false, true, true, false};
  for (int colour = 0; colour <= 6; ++colour) {
    const TestImage after = After(ZelBasicToolFunc_ColorCorrect, scene, colour, 100);
    EXPECT_EQ(after.Colour(0, 0, 2), reaches[colour] ? GreyOf({190, 215, 240}) : 240) << colour;
  }
}

TEST(ColorCast, ReadsItsSettings) {
  // A tinted zone of a quarter, a brighter neutral one of a tenth.
  TestImage scene = Scene({200, 180, 160}, 21);
  for (int i = 0; i < 360; ++i) scene.SetColour(i % 60, i / 60, 250, 250, 250);
  const std::vector<uint8_t> found = CurvesOf(scene);
  EXPECT_EQ(found[200], GreyOf({200, 180, 160}));
  const auto withSettings = [&](const std::string& lines) {
    const SettingsFolder settings;
    settings.Write("Zel_ColorCast.ini", "[AWB]\n" + lines);
    return CurvesOf(scene);
  };
  EXPECT_EQ(withSettings("WhiteZoneThdPercent=95\n"), Identity()) << "only the neutral zone is left";
  EXPECT_EQ(withSettings("WhiteZoneThdPercent=bright\nUseCWMask=\n"), found);
  EXPECT_EQ(withSettings("WhiteZoneThdPercent=-2147483647\n"), found) << "a zone of everything starts in the middle";
  EXPECT_EQ(withSettings("UseCWMask=1\nMaxValue=200\n"), Identity());
  EXPECT_EQ(withSettings("UseCWMask=1\nMaxValue=201\n"), found);
  EXPECT_EQ(withSettings("UseCWMask=1\nMinValue1=201\nMaxValue=240\n"), Identity());
  EXPECT_EQ(withSettings("UseCWMask=1\nMinValue2=161\n"), Identity());
  EXPECT_EQ(withSettings("UseCWMask=1\nMaxScale=1\n"), Identity());
  EXPECT_EQ(withSettings("UseCWMask=1\nMaxScale=2147483647\nMinValue2=-5\n"), found);
}

TEST(WhiteZone, DefaultLimitsOfBrightPixels) {
  const SettingsFolder settings;
  const auto stays = [&](const char* more, Rgb colour) {
    // The zone is everything.
    settings.Write("Zel_ColorCast.ini", std::string("[AWB]\nUseCWMask=1\nWhiteZoneThdPercent=1\n") + more);
    const TestImage image({4, 3, 3, 8, true}, colour.red, colour.green, colour.blue);
    std::vector<uint8_t> mask(12);
    EXPECT_TRUE(BuildWhiteZoneMask(image.view<const uint8_t>(), mask.data()));
    return mask[7] == kInWhiteZone;
  };
  EXPECT_TRUE(stays("", {229, 200, 190}) && !stays("", {230, 200, 190}));
  EXPECT_TRUE(stays("", {84, 80, 70}) && !stays("", {83, 80, 70}));
  EXPECT_TRUE(stays("MaxScale=9\n", {100, 90, 24}) && !stays("MaxScale=9\n", {100, 90, 23}));
  EXPECT_TRUE(stays("", {90, 80, 30}) && !stays("", {91, 80, 30}));
}

TEST(WhiteZone, NeedsMoreThanItsShare) {
  TestImage image({10, 10, 3, 8, true}, 100, 100, 100);
  const auto size = [&] {
    std::vector<uint8_t> mask(100);
    EXPECT_TRUE(BuildWhiteZoneMask(image.view<const uint8_t>(), mask.data()));
    return std::count(mask.begin(), mask.end(), kInWhiteZone);
  };
  for (int i = 0; i < 15; ++i) image.SetColour(i % 10, i / 10, 200, 200, 200);
  EXPECT_EQ(size(), 100) << "15 of 100 are not more than 15 per cent";
  image.SetColour(5, 1, 200, 200, 200);
  EXPECT_EQ(size(), 16);
}

TEST(CastCurves, GainLevelsAreTheseTables) {
  int low = 0, high = 0;
  for (int i = 0; i < 256; ++i) low += i * kCastGainLow[i], high += i * kCastGainHigh[i];
  EXPECT_EQ(low, 3591074);
  EXPECT_EQ(high, 6501245);
}

TEST(CastCurves, AtTheTopTheGainIsTheLevelItself) {
  for (int level : {249, 250, 254}) {
    const TestImage image({4, 3, 3, 8, true}, level, 120, 120);
    std::vector<uint8_t> block(ZEL_LUT1D_BYTES), expected(block), curves(block);
    const auto tables = [](std::vector<uint8_t>& bytes) { return Curves<uint8_t>{bytes.data(), 3}; };
    ASSERT_TRUE(BuildCastCurves(image.view<const uint8_t>(), MarkedArea(nullptr, 4, 3), {level, 120, 120},
                                {255, 120, 120}, tables(block)));
    const int64_t gains[3] = {level, 255, 255};
    BuildGainLut(tables(expected), gains);
    BuildThreePointCurves(tables(curves), {expected[level], 120, 120}, {255, 120, 120}, 255);
    ComposeChannelLut(tables(expected), tables(curves));
    EXPECT_EQ(block == expected, level >= 250) << level;
  }
}

TEST(CastEstimate, AveragesOneBandOfHues) {
  // Two tints of the yellow family, one hue of which is far from the fuller window.
  TestImage scene = Scene({240, 220, 180}, 20);                       // hue 40
  for (int x = 0; x < 60; ++x) scene.SetColour(x, 0, 240, 238, 180);  // hue 58
  std::vector<uint8_t> mask(3600, 0);
  zel::Rgb cast;
  const auto estimate = [&](int32_t filter) {
    std::fill(mask.begin(), mask.end(), 0);
    return EstimateCastColour(scene.view<const uint8_t>(), 0, filter, &cast, mask.data());
  };
  EXPECT_TRUE(estimate(kKeepAll));
  EXPECT_EQ(cast.green, 220);
  EXPECT_EQ(std::count(mask.begin(), mask.end(), 255), 19 * 60);
  EXPECT_EQ(mask[0], 0);
  EXPECT_TRUE(estimate(kDropWarmBright)) << "all of it is warm and saturated";
  EXPECT_EQ(cast.red, kNoCast.red);
}

TEST(CastEstimate, BelievesAZoneOfWhichATenthIsLeft) {
  for (int left : {199, 200}) {
    TestImage scene({50, 40, 3, 8, true}, 240, 200, 150);  // warm and saturated
    for (int i = 0; i < left; ++i) scene.SetColour(i % 50, i / 50, 225, 250, 240);
    std::vector<uint8_t> mask(2000);
    zel::Rgb cast;
    EXPECT_TRUE(EstimateCastColour(scene.view<const uint8_t>(), 0, kDropWarmBright, &cast, mask.data()));
    EXPECT_EQ(cast.green, left == 200 ? 250 : kNoCast.green) << left;
  }
}

TEST(CastEstimate, FilterTellsSurfacesFromLight) {
  EXPECT_TRUE(IsWarmBright(200, 100, 90, 50, 140));
  EXPECT_TRUE(IsWarmBright(220, 160, 150, 41, 179));
  EXPECT_FALSE(IsWarmBright(220, 160, 150, 41, 177));
  EXPECT_TRUE(IsWarmBright(240, 230, 220, 10, 220));
  EXPECT_FALSE(IsWarmBright(200, 200, 90, 60, 140));
  EXPECT_TRUE(IsGreenish(100, 140, 90, 30));
  EXPECT_FALSE(IsGreenish(100, 140, 90, 29));
  EXPECT_TRUE(IsRedHue(330) && IsRedHue(35) && !IsRedHue(36) && !IsRedHue(329));
  EXPECT_TRUE(WhitePixelFilter(7, 200, 200, 200, 0, 0, 200)) << "grey stays";
  EXPECT_FALSE(WhitePixelFilter(kDropGreenish, 90, 140, 100, 108, 30, 115));
  EXPECT_TRUE(WhitePixelFilter(kDropWarmBright | kDropRedHues, 90, 140, 100, 108, 30, 115));
}

TEST(ColorCastManual, MarkedColourBecomesGrey) {
  const auto corrected = [](const TestImage& image, ZelRect rect, int32_t strength) {
    return After(ZelBasicToolFunc_ColorCastManual, image, strength, &rect);
  };
  TestImage image({30, 20, 3, 8, true, 4}, 90, 90, 90);
  for (int y = 0; y < 20; ++y) image.SetColour(29, y, 200, 180, 160);
  for (const ZelRect rect : {ZelRect{29, 0, 30, 20}, {30, 20, 29, 0}, {29, 5, 29, 5}, {500, 3, 700, 9}}) {
    const TestImage after = corrected(image, rect, 100);
    EXPECT_TRUE(after.Colour(29, 7, 0) == 183 && after.Colour(29, 7, 1) == 183 && after.Colour(29, 7, 2) == 183);
  }
  EXPECT_TRUE(corrected(image, {29, 0, 30, 20}, 0).SameBytes(image));
  EXPECT_TRUE(corrected(image, {0, 0, 9, 9}, 100).SameBytes(image)) << "grey is its own target";

  // Whatever the colour, and whether a curve does it alone or a gain helps, the marked colour reaches its target.
  for (const Rgb c : {Rgb{200, 60, 40}, {60, 200, 30}, {20, 40, 220}, {250, 128, 20}, {9, 3, 5}, {3, 3, 90}}) {
    image.FillColour(c.red, c.green, c.blue);
    for (int strength : {50, 100}) {
      const TestImage after = corrected(image, {0, 0, 30, 20}, strength);
      const int samples[3] = {c.red, c.green, c.blue};
      for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(after.Colour(3, 3, k), ((100 - strength) * samples[k] + strength * GreyOf(c)) / 100)
            << c.red << " " << c.green << " " << c.blue << " at " << strength;
      }
    }
  }
  // Too dark a red, and a green of zero, leave everything as it is.
  for (const Rgb c : {Rgb{1, 90, 40}, {40, 0, 90}}) {
    image.FillColour(c.red, c.green, c.blue);
    EXPECT_TRUE(corrected(image, {0, 0, 30, 20}, 100).SameBytes(image));
  }
}

TEST(ColorCastManual, AnEmptyRectangleMeasuresOnePixel) {
  const ZelRect empty{3, 5, 3, 5}, beside{-9, 40, -9, 50};
  const Region one = MarkedArea(&empty, 30, 20).region, corner = MarkedArea(&beside, 30, 20).region;
  EXPECT_TRUE(one.left == 3 && one.top == 5 && one.Width() == 1 && one.Height() == 1);
  EXPECT_TRUE(corner.left == 0 && corner.top == 19 && corner.Width() == 1 && corner.Height() == 1);
}

TEST(CastCurves, PassTheirThreePoints) {
  std::vector<uint16_t> wide(3 * kLutEntries16);
  EXPECT_TRUE(BuildThreePointCurves(Curves<uint16_t>{wide.data(), 3}, {128, 80, 200}, {140, 90, 190}, 255));
  EXPECT_EQ(wide[128 * 256], 140 * 256);
  EXPECT_EQ(wide[kLutEntries16 + 80 * 256], 90 * 256);
  EXPECT_EQ(wide[2 * kLutEntries16 + 200 * 256], 190 * 256);
  EXPECT_EQ(wide[65535], 255 * 256 + 255 * 255 / 256);
}

}  // namespace
}  // namespace zel::test
