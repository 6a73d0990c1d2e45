#include "retouch/skin_flash.h"

#include <gtest/gtest.h>

#include "core/blend.h"
#include "selective/mask.h"
#include "selective/region_tone.h"
#include "support/images.h"

namespace zel::test {
namespace {

TestImage Flash(const TestImage& source, int32_t mode, const ZelPoint* point, int32_t strength) {
  return After(ZelTavoraFunc_SkinFlash, source, mode, point, strength, nullptr, 0);
}

TEST(SkinFlash, ScreensThroughTheSkinMask) {
  const TestImage source({61, 47, 3, 8, true, 3});
  TestImage expected(source.shape(), 2);
  Mask mask;
  ASSERT_TRUE(mask.BuildSkin(source.view(), source.view().Whole(), nullptr, 153, 3.0));
  BlendThroughMask(source.view(), source.view(), expected.view(), mask.weights(), kScreen, source.view().Whole());
  EXPECT_EQ(Flash(source, 2, nullptr, 80), expected);
  EXPECT_NE(expected, source);
}

TEST(SkinFlash, RoutesPoints) {
  TestImage skin({30, 30, 3, 8, true}, 200, 140, 110);
  skin.SetColour(2, 2, 60, 90, 220);
  const ZelPoint face{15, 15}, blue{2, 2}, outside{30, 2}, none{-1, -1};
  EXPECT_EQ(Flash(skin, 2, &face, 50), After(SeededToneEnhance, skin, face, 37, nullptr));
  EXPECT_EQ(Flash(skin, 1, nullptr, 50), Flash(skin, 2, &none, 50));
  EXPECT_EQ(Flash(skin, 1, &blue, 50), skin);
  EXPECT_EQ(Flash(skin, 1, &outside, 50), skin);
  EXPECT_EQ(Flash(skin, 1, nullptr, 0), skin);
  Flash(TestImage({30, 30, 3, 16, true}), 1, nullptr, 50);  // accepted without effect
}

}  // namespace
}  // namespace zel::test
