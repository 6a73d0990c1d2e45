#include "retouch/skin_tone.h"

#include <gtest/gtest.h>

#include "color/hue_weight_mask.h"
#include "core/blend.h"
#include "filter/gaussian_blur.h"
#include "support/images.h"

namespace zel::test {
namespace {

TEST(SkinTone, KeepsTheImageLaws) {
  Laws laws;
  laws.reorders = false;
  ExpectImageLaws(
      [](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
        return ZelTavoraFunc_SkinTone(source, destination, 1, nullptr, 70, 40, 60, rect);
      },
      {{37, 23, 3, 8, true}, {300, 23, 3, 8, false, 5}}, laws);
}

TEST(SkinTone, PercentagesDescribeAColourAndItsTarget) {
  const auto expect = [](const Rgb& skin, int32_t lightness, int32_t blueBalance, int32_t redBalance) {
    const SkinPercentages p = PercentagesOf(skin);
    EXPECT_EQ(p.lightness, lightness);
    EXPECT_EQ(p.blueBalance, blueBalance);
    EXPECT_EQ(p.redBalance, redBalance);
  };
  expect(kTypicalSkin, 54, 77, 12);
  expect({100, 140, 255}, 54, 100, 2);                       // blue is saturated
  expect({255, 140, 131}, 54, 77, 0);                        // red is saturated
  expect({250, 55, 240}, 21, 0, 98);                         // ratios 40 and beyond 3
  expect({189 + 256, 140 + 512, 131 + 0x3F00}, 54, 77, 12);  // the low bytes count
  int32_t percent[3] = {-1, -1, -1};
  EXPECT_EQ(ZelTavoraFunc_GetSkinToneInitialPercentages(nullptr, 0, nullptr, percent, percent + 1, percent + 2),
            ZEL_OK);
  EXPECT_EQ(percent[0] * 10000 + percent[1] * 100 + percent[2], 547712);
  EXPECT_EQ(ZelTavoraFunc_GetSkinToneInitialPercentages(nullptr, 0, nullptr, nullptr, nullptr, nullptr), ZEL_OK);

  const auto target = [](int32_t lightness, int32_t blueBalance, int32_t redBalance) {
    const Rgb c = ComplementTarget({lightness, blueBalance, redBalance});
    return c.red * 1000000 + c.green * 1000 + c.blue;
  };
  EXPECT_EQ(target(54, 77, 12), 189138128);
  EXPECT_EQ(target(100, 3, 99), 255255255);
  EXPECT_EQ(target(80, 100, 0), 153204085);  // 51 / 0.3 and 51 / 0.5
  EXPECT_EQ(target(50, 50, 91), 246128178);  // 127 / 14 and 127 / 1.65
  for (const int32_t wild : {INT32_MIN, -4, 111, INT32_MAX}) {
    const Rgb c = ComplementTarget({wild, wild, wild});
    EXPECT_TRUE(c.red >= 0 && c.red <= 255 && c.green >= 0 && c.green <= 255 && c.blue >= 0 && c.blue <= 255);
  }
}

TEST(SkinTone, SamplesOnlyInsideAndAtFullDepth) {
  for (const bool blueFirst : {false, true}) {
    TestImage deep({6, 5, 3, 16, blueFirst, 2});
    deep.SetColour(5, 4, 0x1234, 0xABCD, 0x00FF);
    Rgb c{};
    ASSERT_TRUE(SamplePixel(deep.desc(), 5, 4, &c));
    EXPECT_TRUE(c.red == 0x1234 && c.green == 0xABCD && c.blue == 0x00FF);
  }
  TestImage grey({6, 5, 1, 8, false}), four({6, 5, 4, 8, false});
  grey.Set(2, 3, 0, 99);
  Rgb c{};
  ASSERT_TRUE(SamplePixel(grey.desc(), 2, 3, &c));
  EXPECT_TRUE(c.red == 99 && c.green == 99 && c.blue == 99);
  EXPECT_FALSE(SamplePixel(four.desc(), 2, 3, &c));
  EXPECT_FALSE(SamplePixel(nullptr, 2, 3, &c));
  int32_t percent = -7;
  const ZelPoint outside[] = {{6, 0}, {0, 5}, {-1, 0}, {INT32_MAX, 1}, {1, INT32_MIN}};
  for (const ZelPoint& point : outside) {
    TestImage result(grey), before(grey);
    EXPECT_EQ(ZelTavoraFunc_GetSkinToneInitialPercentages(grey.desc(), 0, &point, &percent, nullptr, nullptr),
              ZEL_REFUSED);
    EXPECT_EQ(ZelTavoraFunc_SkinTone(grey.desc(), result.desc(), 2, &point, 54, 77, 12, nullptr), ZEL_REFUSED);
    EXPECT_TRUE(result.SameBytes(before));
  }
  EXPECT_EQ(percent, -7);
}

TEST(SkinTone, GainTables) {
  uint8_t table[256];
  BuildSkinGainLut(table, 8, 100, 150, 100);
  EXPECT_EQ(table[100], 150);
  EXPECT_EQ(table[101], 152);
  EXPECT_EQ(table[171], 255);
  BuildSkinGainLut(table, 8, 0, 77, 100);
  EXPECT_EQ(table[0] + table[255], 154);
  BuildSkinGainLut(table, 8, 77, 0, 100);
  EXPECT_EQ(table[0] + table[255], 0);
  BuildSkinGainLut(table, 8, 100, 50, 40);
  EXPECT_EQ(table[100], (150 * 40 + 50) / 100);
  EXPECT_EQ(table[255], 128) << "the last entry keeps its gain";
  std::vector<uint16_t> wide(65536);
  BuildSkinGainLut(wide.data(), 16, 1000, 3000, 100);
  EXPECT_EQ(wide[20000], 60000);
  EXPECT_EQ(wide[30000], 65535);
}

TEST(SkinTone, MixesTheGainsThroughTheMask) {
  const TestImage source({301, 47, 3, 8, true, 3});
  const ZelRect part{5, 6, 290, 40};
  const Rgb target = ComplementTarget({60, 70, 20});
  for (const ZelRect* rect : {static_cast<const ZelRect*>(nullptr), &part}) {
    TestImage shifted(source), mask({301, 47, 1, 8, false}), expected(source), result(source);
    ASSERT_TRUE(SkinToneShift(source.desc()->data, shifted.desc()->data, GeometryOf(*source.desc()), rect, kTypicalSkin,
                              target, 255, 100));
    mask.Fill(0);
    ASSERT_TRUE(BuildHueWeightMask(source.desc(), mask.desc(), rect, 192));
    ASSERT_TRUE(GaussianBlur(mask.desc(), mask.desc(), rect, 3.0));
    ASSERT_TRUE(MaskBlend(shifted.desc(), source.desc(), expected.desc(), mask.desc(), kMix, rect));
    ASSERT_EQ(ZelTavoraFunc_SkinTone(source.desc(), result.desc(), 2, nullptr, 60, 70, 20, rect), ZEL_OK);
    EXPECT_TRUE(result.SameBytes(expected));
    EXPECT_FALSE(result.SameBytes(source));
  }
  // The clicked skin goes to its target: 192 of 256 parts of it, 63 of the old colour. The blur
  // may cost the mask a level.
  TestImage face({30, 30, 3, 8, true});
  face.FillColour(200, 140, 110);
  const ZelPoint point{15, 15};
  const Rgb wanted = ComplementTarget({65, 60, 20});
  ASSERT_EQ(ZelTavoraFunc_SkinTone(face.desc(), face.desc(), 1, &point, 65, 60, 20, nullptr), ZEL_OK);
  EXPECT_NEAR(face.Colour(15, 15, 0), (63 * 200 + 192 * wanted.red) >> 8, 1);
  EXPECT_NEAR(face.Colour(15, 15, 1), (63 * 140 + 192 * wanted.green) >> 8, 1);
  EXPECT_NEAR(face.Colour(15, 15, 2), (63 * 110 + 192 * wanted.blue) >> 8, 1);
}

TEST(SkinTone, SixteenBitsGetTheGainsWithoutAMask) {
  TestImage source({9, 8, 3, 16, true}), result({9, 8, 3, 16, true}, 2), expected(result), untouched(source);
  source.SetColour(4, 4, 0x1234, 0x2345, 0x3456);
  untouched.SetColour(4, 4, 0x1234, 0x2345, 0x3456);
  const ZelPoint point{4, 4};
  const ZelRect rect{2, 2, 7, 7};
  const Rgb target = ComplementTarget({60, 70, 20});
  // Sampled values are multiplied by 257 like the target, beyond 16 bits.
  const auto wrapped = [](int32_t v) { return v * 257 & 0xFFFF; };
  ASSERT_TRUE(SkinToneShift(source.desc()->data, expected.desc()->data, GeometryOf(*source.desc()), &rect,
                            {wrapped(0x1234), wrapped(0x2345), wrapped(0x3456)},
                            {target.red * 257, target.green * 257, target.blue * 257}, 65535, 100));
  EXPECT_EQ(ZelTavoraFunc_SkinTone(source.desc(), result.desc(), 1, &point, 60, 70, 20, &rect), ZEL_OK);
  EXPECT_TRUE(result.SameBytes(expected));
  EXPECT_EQ(ZelTavoraFunc_SkinTone(source.desc(), source.desc(), 1, &point, 60, 70, 20, &rect), ZEL_OK);
  EXPECT_TRUE(source.SameBytes(untouched));
  EXPECT_EQ(ZelTavoraFunc_SkinTone(source.desc(), result.desc(), 3, nullptr, 60, 70, 20, nullptr), ZEL_NULL_ARGUMENT);
  EXPECT_EQ(ZelTavoraFunc_SkinTone(nullptr, result.desc(), 1, nullptr, 60, 70, 20, nullptr), ZEL_NULL_ARGUMENT);
}

}  // namespace
}  // namespace zel::test
