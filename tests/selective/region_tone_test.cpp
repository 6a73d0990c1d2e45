#include "selective/region_tone.h"

#include <gtest/gtest.h>

#include "core/blend.h"
#include "core/entry.h"
#include "core/image.h"
#include "filter/gaussian_blur.h"
#include "selective/picked_colour_mask.h"
#include "support/images.h"

namespace zel::test {
namespace {

using Tool = decltype(&ZelBasicToolFunc_FoliageTone);

TEST(RegionTone, KeepsTheImageLaws) {
  const auto foliage = [](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
    const ZelPoint point{13, 7};
    return ResultOf(SeededToneEnhance(source, destination, point, 100, rect));
  };
  Laws laws;
  laws.reorders = false;
  ExpectImageLaws(foliage, {{37, 23, 3, 8, true}, {37, 23, 3, 8, false, 5}, {37, 23, 1, 8}}, laws);
}

TEST(RegionTone, ScreensTheImageThroughTheMask) {
  // One colour everywhere: full match, the mask is flat, its blur keeps it.
  TestImage source({40, 40, 3, 8, true}), destination({40, 40, 3, 8, true}, 2);
  source.FillColour(64, 128, 60);
  const ZelPoint point{20, 20};
  ASSERT_TRUE(ToneEnhanceInRegion(source.desc()->data, destination.desc()->data, GeometryOf(*source.desc()), nullptr,
                                  point, 100, 0.0));
  EXPECT_EQ(destination.Colour(3, 5, 1), 175);
  ASSERT_EQ(ZelBasicToolFunc_FoliageTone(source.desc(), destination.desc(), &point, 50, nullptr, 0), ZEL_OK);
  EXPECT_EQ(destination.Colour(20, 20, 1), (159 * 128 + 96 * 192) >> 8);
  EXPECT_EQ(MaskCeiling(132), 253);
  EXPECT_EQ(MaskCeiling(133), 255);
  EXPECT_EQ(MaskCeiling(INT32_MAX), 255);
  EXPECT_EQ(MaskCeiling(-10), -19);

  // On a picture: the steps one after the other.
  const TestImage picture({61, 47, 3, 8, true, 3});
  const ZelRect rect{5, 6, 50, 40};
  TestImage result(picture), expected(picture), mask({61, 47, 1, 8, false});
  mask.Fill(0);
  for (const bool withRect : {false, true}) {
    const ZelRect* r = withRect ? &rect : nullptr;
    ASSERT_TRUE(BuildPickedColourMaskFixed(picture.desc(), mask.desc(), r, {30, 20}, 192));
    ASSERT_TRUE(GaussianBlur(mask.desc(), mask.desc(), r, 3.0));
    ASSERT_TRUE(MaskBlend(picture.desc(), picture.desc(), expected.desc(), mask.desc(), kScreen, r));
    ASSERT_TRUE(SeededToneEnhance(picture.desc(), result.desc(), {30, 20}, 100, r));
    EXPECT_TRUE(result.SameBytes(expected));
    EXPECT_FALSE(result.SameBytes(picture));
    mask.Fill(0);
  }
}

TEST(RegionTone, PassesThroughWhatIsNotTheRegion) {
  TestImage source({20, 20, 3, 8, true});
  source.FillColour(40, 160, 50);
  source.SetColour(3, 3, 90, 90, 90);
  source.SetColour(4, 3, 40, 60, 220);
  const ZelPoint grey{3, 3}, sky{4, 3}, leaf{10, 10}, outside{20, 3}, none{-1, -1};
  const ZelRect rect{2, 2, 9, 9};
  struct {
    Tool tool;
    const ZelPoint* point;
    int32_t amount;
  } const copies[] = {{ZelBasicToolFunc_FoliageTone, &grey, 100},
                      {ZelBasicToolFunc_FoliageTone, &sky, 100},
                      {ZelBasicToolFunc_FoliageTone, &outside, 100},
                      {ZelBasicToolFunc_FoliageTone, &leaf, 0},
                      {ZelBasicToolFunc_FoliageTone, &leaf, -50},
                      {ZelBasicToolFunc_SkyTone, &leaf, 100},
                      {ZelBasicToolFunc_SkyTone, &sky, 0}};
  for (const auto& c : copies) {
    TestImage whole({20, 20, 3, 8, true}, 2), part(whole), expected(whole);
    CopyImageRect(*expected.desc(), *source.desc(), &rect);
    EXPECT_EQ(c.tool(source.desc(), whole.desc(), c.point, c.amount, nullptr, 0), ZEL_OK);
    EXPECT_TRUE(whole.SameBytes(source));
    EXPECT_EQ(c.tool(source.desc(), part.desc(), c.point, c.amount, &rect, 0), ZEL_OK);
    EXPECT_TRUE(part.SameBytes(expected));
  }
  TestImage destination({20, 20, 3, 8, true}, 2), before(destination), small({19, 20, 3, 8, true});
  for (const Tool tool : {ZelBasicToolFunc_FoliageTone, ZelBasicToolFunc_SkyTone}) {
    EXPECT_EQ(tool(source.desc(), destination.desc(), nullptr, 100, nullptr, 0), ZEL_REFUSED);
    EXPECT_EQ(tool(source.desc(), destination.desc(), &none, 100, nullptr, 0), ZEL_REFUSED);
    EXPECT_EQ(tool(nullptr, destination.desc(), &leaf, 100, nullptr, 0), ZEL_REFUSED);
  }
  EXPECT_EQ(ZelBasicToolFunc_FoliageTone(source.desc(), small.desc(), &leaf, 100, nullptr, 0), ZEL_REFUSED);
  EXPECT_TRUE(destination.SameBytes(before));

  TestImage deep({20, 20, 3, 16, true}), deepResult({20, 20, 3, 16, true}, 2), deepBefore(deepResult);
  deep.FillColour(10000, 40000, 12000);
  EXPECT_EQ(ZelBasicToolFunc_FoliageTone(deep.desc(), deepResult.desc(), &leaf, 100, nullptr, 0), ZEL_OK);
  EXPECT_TRUE(deepResult.SameBytes(deepBefore));
}

}  // namespace
}  // namespace zel::test
