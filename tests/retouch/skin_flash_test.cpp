#include "retouch/skin_flash.h"

#include <gtest/gtest.h>

#include "color/hue_weight_mask.h"
#include "core/blend.h"
#include "core/image.h"
#include "filter/gaussian_blur.h"
#include "selective/region_tone.h"
#include "support/images.h"

namespace zel::test {
namespace {

Laws Unordered() {
  Laws laws;
  laws.reorders = false;
  return laws;
}

TEST(SkinFlash, KeepsTheImageLaws) {
  const std::vector<Shape> shapes = {{37, 23, 3, 8, true}, {37, 23, 3, 8, false, 5}, {37, 23, 1, 8}};
  ExpectImageLaws(
      [](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
        return ZelTavoraFunc_SkinFlash(source, destination, 1, nullptr, 80, rect, 0);
      },
      shapes, Unordered());
}

TEST(SkinFlash, ScreensSkinHuesAndRoutesPoints) {
  const TestImage source({61, 47, 3, 8, true, 3});
  const ZelRect rect{5, 6, 50, 40};
  for (const ZelRect* r : {static_cast<const ZelRect*>(nullptr), &rect}) {
    TestImage result(source), expected(source), mask({61, 47, 1, 8, false});
    mask.Fill(0);
    ASSERT_TRUE(BuildHueWeightMask(source.desc(), mask.desc(), r, 153));
    ASSERT_TRUE(GaussianBlur(mask.desc(), mask.desc(), r, 3.0));
    ASSERT_TRUE(MaskBlend(source.desc(), source.desc(), expected.desc(), mask.desc(), kScreen, r));
    ASSERT_EQ(ZelTavoraFunc_SkinFlash(source.desc(), result.desc(), 2, nullptr, 80, r, 7), ZEL_OK);
    EXPECT_TRUE(result.SameBytes(expected));
    EXPECT_FALSE(result.SameBytes(source));
  }

  TestImage skin({30, 30, 3, 8, true});
  skin.FillColour(200, 140, 110);
  skin.SetColour(2, 2, 60, 90, 220);
  const ZelPoint face{15, 15}, blue{2, 2}, outside{30, 2}, none{-1, -1};
  TestImage pointed(skin), seeded(skin), without(skin), absent(skin);
  ASSERT_EQ(ZelTavoraFunc_SkinFlash(skin.desc(), pointed.desc(), 2, &face, 50, nullptr, 0), ZEL_OK);
  ASSERT_TRUE(SeededToneEnhance(skin.desc(), seeded.desc(), face, 37, nullptr));
  EXPECT_TRUE(pointed.SameBytes(seeded));
  ASSERT_EQ(ZelTavoraFunc_SkinFlash(skin.desc(), without.desc(), 1, nullptr, 50, nullptr, 0), ZEL_OK);
  ASSERT_EQ(ZelTavoraFunc_SkinFlash(skin.desc(), absent.desc(), 2, &none, 50, nullptr, 0), ZEL_OK);
  EXPECT_TRUE(without.SameBytes(absent));
  EXPECT_GT(without.Colour(20, 20, 0), 200);
  for (const ZelPoint* point : {&blue, &outside}) {
    TestImage copied({30, 30, 3, 8, true}, 2);
    EXPECT_EQ(ZelTavoraFunc_SkinFlash(skin.desc(), copied.desc(), 1, point, 50, nullptr, 0), ZEL_OK);
    EXPECT_TRUE(copied.SameBytes(skin));
  }
  // Strength 0 copies too, through an empty mask.
  TestImage copied({30, 30, 3, 8, true}, 2);
  EXPECT_EQ(ZelTavoraFunc_SkinFlash(skin.desc(), copied.desc(), 1, nullptr, 0, nullptr, 0), ZEL_OK);
  EXPECT_TRUE(copied.SameBytes(skin));
}

TEST(SkinFlash, RefusesAndAcceptsWithoutEffect) {
  const TestImage source({9, 9, 3, 8, true}), deep({9, 9, 3, 16, true});
  TestImage destination({9, 9, 3, 8, true}, 2), deepResult({9, 9, 3, 16, true}, 2), before(deepResult);
  for (const int32_t mode : {0, 3, -1}) {
    EXPECT_EQ(ZelTavoraFunc_SkinFlash(source.desc(), destination.desc(), mode, nullptr, 50, nullptr, 0),
              ZEL_NULL_ARGUMENT);
  }
  EXPECT_EQ(ZelTavoraFunc_SkinFlash(nullptr, destination.desc(), 1, nullptr, 50, nullptr, 0), ZEL_NULL_ARGUMENT);
  EXPECT_EQ(ZelTavoraFunc_SkinFlash(source.desc(), deepResult.desc(), 1, nullptr, 50, nullptr, 0), ZEL_REFUSED);
  EXPECT_EQ(ZelTavoraFunc_SkinFlash(deep.desc(), deepResult.desc(), 1, nullptr, 50, nullptr, 0), ZEL_OK);
  EXPECT_TRUE(deepResult.SameBytes(before));
  for (const int32_t strength : {INT32_MIN, INT32_MAX, 133}) {
    EXPECT_TRUE(SkinFlashCorrect(source.desc(), destination.desc(), nullptr, strength, 3.0));
  }
}

}  // namespace
}  // namespace zel::test
