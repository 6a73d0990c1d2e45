#include "retouch/skin_tone.h"

#include <gtest/gtest.h>

#include "core/blend.h"
#include "selective/mask.h"
#include "support/images.h"

namespace zel::test {
namespace {

TEST(SkinTone, PercentagesDescribeAColourAndItsTarget) {
  const auto percentages = [](const Rgb& skin) {
    const SkinPercentages p = PercentagesOf(skin);
    return p.lightness * 1000000 + p.blueBalance * 1000 + p.redBalance;
  };
  EXPECT_EQ(percentages(kTypicalSkin), 54077012);
  EXPECT_EQ(percentages({100, 140, 255}), 54100002) << "blue is saturated";
  EXPECT_EQ(percentages({255, 140, 131}), 54077000) << "red is saturated";
  EXPECT_EQ(percentages({250, 55, 240}), 21000098) << "ratios of 40 and 13";
  EXPECT_EQ(percentages({249, 198, 198}) % 1000, 85) << "a ratio of 9.5";
  EXPECT_EQ(percentages({250, 205, 205}) % 1000, 90) << "10, where the scale changes";
  EXPECT_EQ(percentages({245, 150, 150}) % 1000, 90) << "10.5";
  EXPECT_EQ(percentages({250, 195, 195}) % 1000, 91) << "12";
  EXPECT_EQ(percentages({189 + 256, 140 + 512, 131 + 0x3F00}), 54077012) << "the low bytes count";
  int32_t percent[3] = {-1, -1, -1};
  EXPECT_EQ(ZelTavoraFunc_GetSkinToneInitialPercentages(nullptr, 0, nullptr, percent, percent + 1, percent + 2),
            ZEL_OK);
  EXPECT_EQ(percent[0] * 1000000 + percent[1] * 1000 + percent[2], 54077012);
  EXPECT_EQ(ZelTavoraFunc_GetSkinToneInitialPercentages(nullptr, 0, nullptr, nullptr, nullptr, nullptr), ZEL_OK);

  const auto target = [](int32_t lightness, int32_t blueBalance, int32_t redBalance) {
    const Rgb c = ComplementTarget({lightness, blueBalance, redBalance});
    return c.red * 1000000 + c.green * 1000 + c.blue;
  };
  EXPECT_EQ(target(54, 77, 12), 189138128);
  EXPECT_EQ(target(100, 3, 99), 255255255);
  EXPECT_EQ(target(80, 100, 0), 153204085) << "51 / 0.3 and 51 / 0.5";
  EXPECT_EQ(target(50, 50, 91), 246128178) << "127 / 14 and 127 / 1.65";
  for (const int32_t wild : {INT32_MIN, -4, 111, INT32_MAX}) {
    const Rgb c = ComplementTarget({wild, wild, wild});
    EXPECT_EQ((c.red | c.green | c.blue) & ~255, 0);
  }
}

TEST(SkinTone, SamplesOnlyInsideAndAtFullDepth) {
  Rgb c{};
  const TestImage deep({6, 5, 3, 16, true, 2}), grey({6, 5, 1}), four({6, 5, 4});
  ASSERT_TRUE(SamplePixel(deep.desc(), 5, 4, &c));
  EXPECT_TRUE(c.red == deep.Colour(5, 4, 0) && c.blue == deep.Colour(5, 4, 2));
  ASSERT_TRUE(SamplePixel(grey.desc(), 5, 4, &c));
  EXPECT_EQ(c.red, grey.Get(5, 4, 0));
  EXPECT_FALSE(SamplePixel(four.desc(), 5, 4, &c));
  int32_t percent = -7;
  for (const ZelPoint& point : {ZelPoint{6, 0}, {0, 5}, {-1, 0}, {INT32_MAX, 1}, {1, INT32_MIN}}) {
    EXPECT_EQ(ZelTavoraFunc_GetSkinToneInitialPercentages(deep.desc(), 0, &point, &percent, nullptr, nullptr),
              ZEL_REFUSED);
    EXPECT_EQ(ZelTavoraFunc_SkinTone(deep.desc(), grey.desc(), 2, &point, 54, 77, 12, nullptr), ZEL_REFUSED);
  }
  EXPECT_EQ(percent, -7);
}

TEST(SkinTone, GainTables) {
  uint8_t table[256];
  const auto build = [&table](int32_t skin, int32_t target, int32_t strength) {
    BuildSkinGainLut(table, skin, target, strength);
  };
  build(100, 150, 100);
  EXPECT_TRUE(table[100] == 150 && table[101] == 152 && table[171] == 255);
  build(0, 77, 100);
  EXPECT_TRUE(table[0] == 77 && table[255] == 77);
  build(77, 0, 100);
  EXPECT_TRUE(table[1] == 0 && table[255] == 0);
  build(100, 50, 40);
  EXPECT_TRUE(table[100] == 60 && table[255] == 128) << "the last entry keeps its gain";
}

TEST(SkinTone, MixesTheGainsThroughTheMask) {
  const TestImage source({301, 47, 3, 8, true, 3});
  const ZelRect part{5, 6, 290, 40};
  const ZelPoint point{44, 31};
  const Region region = ClampedRegion(&part, source.view().Whole());
  for (const ZelPoint* seed : {static_cast<const ZelPoint*>(nullptr), &point}) {
    TestImage shifted(source), expected(source.shape(), 2);
    Rgb skin = kTypicalSkin;
    if (seed != nullptr) SamplePixel(source.desc(), 44, 31, &skin);
    Mask mask;
    ASSERT_TRUE(SkinToneShift(source.view(), shifted.view(), region, skin, ComplementTarget({60, 70, 20}), 255, 100));
    ASSERT_TRUE(mask.BuildSkin(source.view(), region, seed, 192, 3.0));
    BlendThroughMask(shifted.view(), source.view(), expected.view(), mask.weights(), kMix, region);
    EXPECT_EQ(After(ZelTavoraFunc_SkinTone, source, 2, seed, 60, 70, 20, &part), expected);
  }
}

TEST(SkinTone, SixteenBitsGetTheGainsWithoutAMask) {
  TestImage source({9, 8, 3, 16, true}), expected(source.shape(), 2);
  const ZelPoint point{4, 4};
  const ZelRect rect{2, 2, 7, 7};
  const Rgb target = ComplementTarget({60, 70, 20});
  // Sampled values are multiplied by 257 like the target, beyond 16 bits.
  const auto wrapped = [&](int k) { return source.Colour(4, 4, k) * 257 & 0xFFFF; };
  ASSERT_TRUE(SkinToneShift(source.view<uint16_t>(), expected.view<uint16_t>(),
                            ClampedRegion(&rect, source.view().Whole()), {wrapped(0), wrapped(1), wrapped(2)},
                            {target.red * 257, target.green * 257, target.blue * 257}, 65535, 100));
  EXPECT_EQ(After(ZelTavoraFunc_SkinTone, source, 1, &point, 60, 70, 20, &rect), expected);
  const TestImage before(source);
  EXPECT_EQ(ZelTavoraFunc_SkinTone(source.desc(), source.desc(), 1, &point, 60, 70, 20, &rect), ZEL_OK);
  EXPECT_EQ(source, before);
}

}  // namespace
}  // namespace zel::test
