#include "retouch/skin_flash.h"

#include <gtest/gtest.h>

#include "core/blend.h"
#include "retouch/skin_mask.h"
#include "selective/region_tone.h"
#include "support/images.h"

namespace zel::test {
namespace {

int32_t Flash(const TestImage& source, TestImage& out, int32_t mode, const ZelPoint* point, int32_t strength) {
  return ZelTavoraFunc_SkinFlash(source.desc(), out.desc(), mode, point, strength, nullptr, 0);
}

TEST(SkinFlash, ScreensThroughTheSkinMask) {
  const TestImage source({61, 47, 3, 8, true, 3});
  TestImage result(source), expected(source);
  SkinMask mask;
  ASSERT_TRUE(mask.Build(source.desc()->data, GeometryOf(*source.desc()), nullptr, nullptr, 153, 3.0));
  ASSERT_TRUE(MaskBlend(source.desc(), source.desc(), expected.desc(), &mask.desc(), kScreen, nullptr));
  EXPECT_EQ(Flash(source, result, 2, nullptr, 80), ZEL_OK);
  EXPECT_TRUE(result.SameBytes(expected));
  EXPECT_FALSE(result.SameBytes(source));
}

TEST(SkinFlash, RoutesPointsAndRefuses) {
  TestImage skin({30, 30, 3, 8, true});
  skin.FillColour(200, 140, 110);
  skin.SetColour(2, 2, 60, 90, 220);
  const ZelPoint face{15, 15}, blue{2, 2}, outside{30, 2}, none{-1, -1};
  TestImage pointed(skin), seeded(skin), without(skin), absent(skin);
  EXPECT_EQ(Flash(skin, pointed, 2, &face, 50), ZEL_OK);
  ASSERT_TRUE(SeededToneEnhance(skin.desc(), seeded.desc(), face, 37, nullptr));
  EXPECT_TRUE(pointed.SameBytes(seeded));
  EXPECT_EQ(Flash(skin, without, 1, nullptr, 50), ZEL_OK);
  EXPECT_EQ(Flash(skin, absent, 2, &none, 50), ZEL_OK);
  EXPECT_TRUE(without.SameBytes(absent));
  for (const ZelPoint* point : {&blue, &outside, static_cast<const ZelPoint*>(nullptr)}) {
    TestImage copied({30, 30, 3, 8, true}, 2);
    EXPECT_EQ(Flash(skin, copied, 1, point, point == nullptr ? 0 : 50), ZEL_OK);
    EXPECT_TRUE(copied.SameBytes(skin));
  }

  const TestImage deep({30, 30, 3, 16, true});
  TestImage result({30, 30, 3, 16, true}, 2), before(result);
  EXPECT_EQ(Flash(deep, result, 1, nullptr, 50), ZEL_OK);
  EXPECT_EQ(Flash(deep, result, 3, nullptr, 50), ZEL_NULL_ARGUMENT);
  EXPECT_EQ(Flash(skin, result, 1, nullptr, 50), ZEL_REFUSED);
  EXPECT_TRUE(result.SameBytes(before));
}

}  // namespace
}  // namespace zel::test
