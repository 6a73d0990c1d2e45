#include "selective/region_tone.h"

#include <gtest/gtest.h>

#include "exports/entry.h"
#include "support/images.h"

namespace zel::test {
namespace {

TEST(RegionTone, ScreensTheImageThroughTheMask) {
  Laws laws;
  laws.reorders = false;
  ExpectImageLaws(
      [](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
        return ResultOf(SeededToneEnhance(source, destination, {13, 7}, 100, rect));
      },
      {{37, 23, 3, 8, true}, {37, 23, 3, 8, false, 5}, {37, 23, 1, 8}}, laws);

  TestImage flat({40, 40, 3, 8, true}, 64, 128, 60), out(flat);
  ASSERT_TRUE(ToneEnhanceInRegion(flat.view(), out.view(), flat.view().Whole(), {20, 20}, 100, 0.0));
  EXPECT_EQ(out.Colour(3, 5, 1), 175) << "192 of 256 parts of 192, 63 of 128";
  EXPECT_EQ(MaskCeiling(132), 253);
  EXPECT_EQ(MaskCeiling(INT32_MAX), 255);
  EXPECT_EQ(MaskCeiling(-10), -19);

  // Softened by three pixels.
  for (int i = 0; i < 20 * 40; ++i) flat.SetColour(20 + i % 20, i / 20, 200, 60, 200);
  const TestImage lifted = After(SeededToneEnhance, flat, ZelPoint{5, 20}, 100, nullptr);
  EXPECT_EQ(lifted.Colour(3, 20, 1), 175);
  // The smallest weights darken by a level.
  const int reds[] = {88, 83, 213, 209, 205, 202, 201, 199, 199, 200};
  for (int i = 0; i < 10; ++i) EXPECT_EQ(lifted.Colour(18 + i, 20, 0), reds[i]) << i;
  EXPECT_EQ(After(SeededToneEnhance, flat, ZelPoint{5, 20}, 0, nullptr), flat);
}

TEST(RegionTone, PassesThroughWhatIsNotTheRegion) {
  TestImage source({20, 20, 3, 8, true}, 40, 160, 50);
  source.SetColour(3, 3, 90, 90, 90);
  const ZelPoint grey{3, 3}, leaf{10, 10}, outside{20, 3};
  const auto foliage = ZelBasicToolFunc_FoliageTone, sky = ZelBasicToolFunc_SkyTone;
  struct {
    decltype(foliage) tool;
    const ZelPoint* point;
    int32_t amount;
  } const copies[] = {{foliage, &grey, 100}, {foliage, &outside, 100}, {foliage, &leaf, 0},
                      {foliage, &leaf, -50}, {sky, &leaf, 100},        {sky, &grey, 100}};
  for (const auto& c : copies) {
    EXPECT_EQ(After(c.tool, source, c.point, c.amount, nullptr, 0), source);
  }
  const TestImage deep({20, 20, 3, 16, true}, 10000, 40000, 12000);
  After(foliage, deep, &leaf, 100, nullptr, 0);  // accepted without effect
  EXPECT_EQ(sky(deep.desc(), source.desc(), nullptr, 100, nullptr, 0), ZEL_REFUSED);
}

}  // namespace
}  // namespace zel::test
