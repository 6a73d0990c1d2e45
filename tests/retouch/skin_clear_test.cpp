#include "retouch/skin_clear.h"

#include <gtest/gtest.h>

#include "core/blend.h"
#include "filter/gaussian_blur.h"
#include "selective/mask.h"
#include "support/images.h"
#include "tone/contrast_brightness.h"

namespace zel::test {
namespace {

// The steps one after the other, each on whole images.
TEST(SkinClear, EqualsItsStepsDoneOneByOne) {
  const ZelRect part{13, 9, 280, 41};
  const ZelPoint point{44, 31};
  const TestImage source({301, 53, 3, 8, true, 2});
  const int32_t contrast[3] = {10, 10, 10}, brightness[3] = {0, 0, 0};
  const TestImage lifted = After(ContrastBrightness, source, nullptr, contrast, brightness);
  for (const int32_t k : {1, 6, 40, 120}) {
    for (const ZelRect* rect : {static_cast<const ZelRect*>(nullptr), &part}) {
      TestImage blurred(lifted), smooth(source), fused(source), softened(lifted), soft(lifted);
      const Region region = GivenRegion(rect, source.view().Whole());
      ASSERT_TRUE(GaussianBlur(lifted.desc(), blurred.desc(), rect, k * 0.1));
      ASSERT_TRUE(StrengthBlend(blurred.desc(), lifted.desc(), smooth.desc(), kMix, 50, rect));
      ASSERT_TRUE(SkinClearSmooth(source.view(), fused.view(), region, k));
      EXPECT_TRUE(fused.SameBytes(smooth)) << k;
      ASSERT_TRUE(SkinClearSoften(softened.view(), softened.view(), region, k));
      ASSERT_TRUE(StrengthBlend(blurred.desc(), lifted.desc(), soft.desc(), kMix, 50, rect));
      EXPECT_TRUE(softened.SameBytes(soft)) << k;

      for (const ZelPoint* seed : {static_cast<const ZelPoint*>(nullptr), &point}) {
        TestImage expected(source.shape(), 2);
        Mask mask;
        ASSERT_TRUE(mask.BuildSkin(source.view(), region, seed, 255, 1.5));
        BlendThroughMask(smooth.view(), source.view(), expected.view(), mask.weights(), kMix, region);
        EXPECT_EQ(After(SkinClearCorrect, source, rect, k, seed), expected) << k;
      }
    }
  }
}

TEST(SkinClear, LevelsBecomeWidthsAndSmallOnesCopy) {
  const TestImage source({40, 30, 3, 8, true});
  const int cases[][3] = {{1, 0, 0}, {2, 1, 0}, {1, 1, 1}, {1, 100, 120}, {2, 50, 40}, {2, 51, 41}, {2, 100, 120}};
  for (const auto& [mode, level, k] : cases) {
    EXPECT_EQ(After(ZelTavoraFunc_SkinClear, source, mode, nullptr, level, nullptr),
              k == 0 ? source : After(SkinClearCorrect, source, nullptr, k, nullptr))
        << mode << " " << level;
  }
}

}  // namespace
}  // namespace zel::test
