#include "retouch/skin_flash.h"

#include <gtest/gtest.h>

#include "selective/region_tone.h"
#include "support/images.h"

namespace zel::test {
namespace {

TestImage Flash(const TestImage& source, int32_t mode, const ZelPoint* point, int32_t strength) {
  return After(ZelTavoraFunc_SkinFlash, source, mode, point, strength, nullptr, 0);
}

TEST(SkinFlash, LiftsSkinAndLeavesTheRest) {
  TestImage source({60, 40, 3, 8, true, 3}, 200, 140, 110);
  for (int i = 0; i < 30 * 40; ++i) source.SetColour(30 + i % 30, i / 30, 60, 90, 220);
  const TestImage lifted = Flash(source, 2, nullptr, 80);
  // 152 of 256 parts of 244, 204 and 173: the blur loses one of the mask's 153.
  EXPECT_EQ(lifted.Colour(10, 20, 0), 225);
  EXPECT_EQ(lifted.Colour(10, 20, 1), 177);
  EXPECT_EQ(lifted.Colour(10, 20, 2), 146);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(lifted.Colour(50, 20, k), source.Colour(50, 20, k));
  // Softened by three pixels.
  const int reds[] = {220, 217, 213, 71, 67, 64, 62, 61, 60};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(lifted.Colour(27 + i, 20, 0), reds[i]) << i;
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
